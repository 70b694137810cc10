// Which addresses of a long list a run holds back, compared with a slow walk over all that it has stored.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "cli/end_to_end_fixture.h"
#include "keys/address_comparison.h"
#include "keys/duplicate_keys.h"

namespace kestrel {
namespace {

constexpr int kAddresses = 1500;

struct Address {
  std::string name, street, postcode, town;

  std::string Line(int number) const {
    return std::to_string(number) + ";" + name + ";" + street + ";" + postcode + ";" + town + "\r\n";
  }
  std::string KeyText() const { return postcode + "|" + town + "|" + street + "||" + name + "|||| "; }
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
    const std::string town = Pick(
        {"Baden", "Celle", "Dachau", "Fulda", "Gera", "Kiel", "Landau", "Mainz", "Passau", "Rheine", "Soest"});
    if (random_() % 10 == 0) return {trade + name + form, street, "", ""};
    return {trade + name + form, street, "50" + std::to_string(100 + town[0]), town};
  }

 private:
  std::string Pick(const std::vector<std::string>& texts) { return texts[random_() % texts.size()]; }

  std::mt19937 random_{20261121};
};

// All that was stored, looked through from its beginning for each address.
class Walk {
 public:
  bool Holds(const std::string& key_text) {
    const host::AddressParts record(key_text);
    bool held = false;
    for (const std::size_t candidate : CandidatesOf(record)) {
      const host::AddressParts stored(stored_[candidate]);
      if (host::CompareAddresses(record, stored, seen_).Percent() >= 50) held = true;
    }
    if (!held) stored_.push_back(key_text);
    return held;
  }
  std::size_t size() const { return stored_.size(); }

 private:
  // Those that share a key: of the first key first, a hundred at most.
  std::vector<std::size_t> CandidatesOf(const host::AddressParts& record) const {
    std::vector<std::size_t> found;
    for (const char* code : {"4", "6", "7"}) {
      const std::string key = host::CanonicalText(code, record);
      for (std::size_t i = 0; i < stored_.size() && !key.empty(); ++i) {
        if (host::CanonicalText(code, host::AddressParts(stored_[i])) != key) continue;
        if (std::find(found.begin(), found.end(), i) == found.end()) found.push_back(i);
      }
    }
    found.resize(std::min(found.size(), std::size_t{100}));
    return found;
  }

  std::vector<std::string> stored_;
  host::SameAddressPairs seen_;
};

TEST_F(EndToEnd, ManyRandomAddressesAreJudgedLikeAWalkOverAllThatIsStored) {
  RandomAddresses addresses;
  std::string file = "Nr;Name;Strasse;PLZ;Ort\r\n";
  std::string expected;
  Walk walk;
  for (int number = 1; number <= kAddresses; ++number) {
    const Address address = addresses.Next();
    file += address.Line(number);
    if (walk.Holds(address.KeyText())) continue;
    expected += std::to_string(number) + "\n";
  }
  ASSERT_GT(walk.size(), kAddresses / 10U);
  ASSERT_LT(walk.size(), kAddresses * 9U / 10);

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
