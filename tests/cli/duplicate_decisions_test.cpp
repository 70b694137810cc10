// Which addresses of a long list a run holds back, compared with a slow walk over all that it has stored.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "cli/end_to_end_fixture.h"
#include "keys/duplicate_keys.h"

namespace kestrel {
namespace {

constexpr int kAddresses = 5000;

struct Address {
  std::string name, street, postcode, town;

  std::string Line(int number) const {
    return std::to_string(number) + ";" + name + ";" + street + ";" + postcode + ";" + town + "\r\n";
  }
  // What two addresses must share in one of its parts to be the same; an empty part is shared by none.
  std::array<std::string, 3> Identity() const {
    const std::string key_text = postcode + "|" + town + "|" + street + "||" + name + "|||| ";
    const host::FoldedAddress folded(key_text);
    return {host::CanonicalText("1", folded), host::CanonicalText("2", folded),
            host::CanonicalText("3", folded)};
  }
};

// Out of so few names, spellings and places that about half of the addresses come again.
class RandomAddresses {
 public:
  Address Next() {
    const std::string name =
        Pick({"Meyer", "Maier", "MEIER", "Müller", "Mueller", "Schmidt", "Schmitt", "Groß"});
    const std::string form = Pick({"", " GmbH", " GmbH & Co. KG", " e. K.", " AG"});
    const std::string trade = Pick({"Bäckerei ", "Möbelhaus ", "Druckerei ", "", "Dr. "});
    const std::string number = std::to_string(1 + random_() % 12);
    const std::string street =
        Pick({"Hauptstraße ", "Haupt-Str. ", "Ringstr. ", "Am Markt ", "Waldweg "}) + number;
    const std::string place = std::to_string(10 + random_() % 60);
    if (random_() % 10 == 0) return {trade + name + form, street, "", ""};
    return {trade + name + form, street, "50" + place + "7", "Ort " + place};
  }

 private:
  std::string Pick(const std::vector<std::string>& texts) { return texts[random_() % texts.size()]; }

  std::mt19937 random_{20261121};
};

bool IsSame(const std::array<std::string, 3>& one, const std::array<std::string, 3>& other) {
  for (std::size_t i = 0; i < one.size(); ++i) {
    if (!one[i].empty() && one[i] == other[i]) return true;
  }
  return false;
}

TEST_F(EndToEnd, FiveThousandRandomAddressesAreJudgedLikeAWalkOverAllThatIsStored) {
  RandomAddresses addresses;
  std::string file = "Nr;Name;Strasse;PLZ;Ort\r\n";
  std::string expected;
  std::vector<std::array<std::string, 3>> stored;
  for (int number = 1; number <= kAddresses; ++number) {
    const Address address = addresses.Next();
    file += address.Line(number);
    const auto identity = address.Identity();
    bool is_stored = true;
    for (const auto& other : stored) is_stored = is_stored && !IsSame(identity, other);
    if (!is_stored) continue;
    stored.push_back(identity);
    expected += std::to_string(number) + "\n";
  }
  ASSERT_GT(stored.size(), 1000U);
  ASSERT_LT(stored.size(), 4000U);

  WriteFileAtomically(Spec("liste.txt"), ToWindows1252(file));
  WriteSpec(
      "Liste.IMP",
      "[Common]\nDescription=Liste\nApplication=2\nImportClass=ksbimport.importkunden\nProvider=Textdatei\n"
      "FileName=" +
          Spec("liste.txt") +
          "\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
          "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenKey2=1\n"
          "DublettenKey3=1\n"
          "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\nPLZ=FIELD:PLZ\n"
          "Ort=FIELD:Ort\n");
  const testing::ProgramResult run = Run({"run", "Liste"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Query("SELECT KundenNummer FROM Kunden ORDER BY KundenNummer"), expected);
}

}  // namespace
}  // namespace kestrel
