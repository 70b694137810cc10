// docs/spezifikation.md tells of every key that is read what it is without an entry, and of no key that is not.
#include <gmock/gmock.h>

#include <set>

#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/translation_edits.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "spec/specification.h"
#include "support/project_paths.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;

std::string Reference() { return ReadWholeFile(testing::InSourceTree("docs/spezifikation.md")); }

// The text between a heading and the next one.
std::string SectionOf(const std::string& page, const std::string& heading) {
  const std::size_t start = page.find("\n" + heading + "\n");
  if (start == std::string::npos) return {};
  return page.substr(start, page.find("\n#", start + 1) - start);
}

// The first cell of each row, without its marks, and the last one.
std::vector<std::pair<std::string, std::string>> KeysOf(const std::string& section) {
  std::vector<std::pair<std::string, std::string>> keys;
  for (const std::string_view line : Split(section, '\n')) {
    if (!line.starts_with("| `")) continue;
    const auto cells = Split(line, '|');
    const auto plain = [](std::string_view cell) { return ReplaceAll(TrimBlanks(cell), "`", ""); };
    keys.emplace_back(plain(cells[1]), plain(cells[cells.size() - 2]));
  }
  return keys;
}

TEST(SpecificationReference, TellsTheKeysOfEveryKindOfSource) {
  const std::string page = Reference();
  const SourceKinds kinds;
  for (const SourceKind& kind : kinds) {
    std::vector<std::pair<std::string, std::string>> wanted;
    for (const CommonKey& key : kind.keys) {
      const std::string without = key.default_value;
      wanted.emplace_back(key.name, without.empty() ? "leer" : without);
    }
    EXPECT_THAT(KeysOf(SectionOf(page, "### " + kind.name)), ::testing::UnorderedElementsAreArray(wanted))
        << kind.name;
  }
  EXPECT_THAT(KeysOf(SectionOf(page, "## [Common]")),
              ::testing::Contains(std::pair<std::string, std::string>("Provider", kinds.Default().name)));
}

TEST(SpecificationReference, TellsTheDateFormats) {
  std::vector<std::string> told;
  for (const auto& [format, example] : KeysOf(SectionOf(Reference(), "## [FieldFormat]")))
    told.push_back(format);
  EXPECT_THAT(told, ::testing::ElementsAreArray(kDateFormats));
}

TEST(SpecificationReference, TellsTheLimits) {
  const std::string limits = SectionOf(Reference(), "## Grenzen");
  EXPECT_THAT(limits, HasSubstr("| Übersetzung eines Wertes | " + std::to_string(kMaxTranslationLength) +
                                " Zeichen |"));
  EXPECT_THAT(limits, HasSubstr("| " + std::to_string(kMaxListedSpecifications) + " |"));
  ASSERT_EQ(kMaxDistinctValues, 10000u);
  EXPECT_THAT(limits, HasSubstr("| 10.000 |"));
}

}  // namespace
}  // namespace kestrel
