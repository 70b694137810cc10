// The limits that the reference of the specification tells are those of the program.
#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <string>

#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/translation_edits.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/profile/profile_file.h"
#include "sources/text_source.h"
#include "spec/specification.h"
#include "support/project_paths.h"

namespace kestrel {
namespace {

using Limits = std::map<std::string, std::string>;

// The rows of the table "Grenzen".
Limits ToldLimits() {
  const std::string page = ReadWholeFile(testing::InSourceTree("docs/spezifikation.md"));
  const std::size_t start = page.find("\n## Grenzen\n");
  if (start == std::string::npos) return {};
  const std::string part = page.substr(start, page.find("\n## ", start + 1) - start);
  Limits limits;
  const std::regex row("\n\\| ([^|]+) \\| ([^|]+) \\|");
  for (std::sregex_iterator at(part.begin(), part.end(), row), end; at != end; ++at)
    limits[(*at)[1]] = (*at)[2];
  limits.erase("was");
  return limits;
}

// As the page writes a number.
std::string Written(std::size_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ".");
  return digits;
}

std::size_t LengthAround(const std::string& shown) { return LengthInCharacters(shown) - 1; }

TEST(ToldLimits, AreThoseOfTheProgram) {
  // What is shown around a name or a constant has to fit, too.
  EXPECT_EQ(LengthAround(DisplayFieldName("x")), LengthAround(DisplayConstant("x")));
  const Limits expected = {
      {"Größe der Datei", Written(static_cast<std::size_t>(kMaxProfileBytes >> 20)) + " MiB"},
      {"Name einer zugewiesenen Spalte, eine Konstante",
       Written(kMaxListText - LengthAround(DisplayFieldName("x"))) + " Zeichen"},
      {"Datumsformat", Written(kMaxListRemark) + " Zeichen"},
      {"Übersetzung eines Wertes", Written(kMaxTranslationLength) + " Zeichen"},
      {"Werte, die eine Übersetzungstabelle von selbst auflistet", Written(kMaxDistinctValues)},
      {"Spezifikationen in der Liste des Assistenten", Written(kMaxListedSpecifications)},
      {"Spalten einer Textdatei, die Werte haben", Written(kValueSlots)}};
  EXPECT_EQ(ToldLimits(), expected);
}

}  // namespace
}  // namespace kestrel
