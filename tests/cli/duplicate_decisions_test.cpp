// Which addresses of a long list a run holds back, compared with a slow walk over all that it has stored; and how many a check
// tells of.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "cli/end_to_end_fixture.h"
#include "keys/address_comparison.h"
#include "keys/duplicate_keys.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

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

// All that was stored, looked through from its beginning for each address, and then how others were written that were
// held back.
class Walk {
 public:
  bool Holds(const std::string& key_text) {
    const Known known = Know(key_text);
    const host::AddressParts record(key_text);
    double score = 0;
    for (const std::string& stored : CandidatesOf(known, stored_)) {
      score = std::max(score, host::CompareAddresses(record, host::AddressParts(stored), seen_).Percent());
    }
    if (score < 50) score = std::max(score, LikeSpelling(known, record));
    if (score < 50) {
      stored_.push_back(known);
    } else if (score < 100) {
      spellings_.push_back(known);
    }
    return score >= 50;
  }
  std::size_t size() const { return stored_.size(); }
  // Of those held back.
  std::size_t like_spelling() const { return like_spelling_; }

 private:
  struct Known {
    std::string key_text;
    std::array<std::string, 3> keys;
  };

  static Known Know(const std::string& key_text) {
    const host::AddressParts address(key_text);
    return {key_text,
            {host::CanonicalText("4", address), host::CanonicalText("6", address),
             host::CanonicalText("7", address)}};
  }

  // Those that share a key: of the first key first, a hundred at most.
  static std::vector<std::string> CandidatesOf(const Known& record, const std::vector<Known>& all) {
    std::vector<std::string> found;
    for (std::size_t key = 0; key < record.keys.size(); ++key) {
      for (const Known& other : all) {
        if (record.keys[key].empty() || other.keys[key] != record.keys[key]) continue;
        if (std::find(found.begin(), found.end(), other.key_text) == found.end())
          found.push_back(other.key_text);
      }
    }
    found.resize(std::min(found.size(), std::size_t{100}));
    return found;
  }

  double LikeSpelling(const Known& known, const host::AddressParts& record) {
    double score = 0;
    for (const std::string& spelling : CandidatesOf(known, spellings_)) {
      host::SameAddressPairs uncounted = seen_;
      const host::Comparison compared = host::CompareAddresses(record, host::AddressParts(spelling), uncounted);
      if (compared.shares_name) score = std::max(score, compared.Percent());
    }
    if (score >= 50) ++like_spelling_;
    return score;
  }

  std::vector<Known> stored_;
  std::vector<Known> spellings_;
  std::size_t like_spelling_ = 0;
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
  ASSERT_GT(walk.like_spelling(), 0U);

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

TEST_F(EndToEnd, CheckOfTheDataCountsEachRecordThatRepeatsAnEarlierOneOnce) {
  const std::string once = ";Anna Meyer;Ring 1;50667;Köln\r\n";
  const std::string other = ";Bernd Schulz;Tulpenhof 5;10115;Berlin\r\n";
  WriteFileAtomically(Spec("liste.txt"),
                      ToWindows1252("Nr;Name;Strasse;PLZ;Ort\r\n1" + once + "2" + other + "3" + once +
                                    "4;;;;\r\n5;;;;\r\n6;Meyer, Anna;Ring 1;50667;Köln\r\n7" + other +
                                    "8;Eva Klug;Weg 3;01067;Dresden\r\n"));
  const std::string common =
      "[Common]\nDescription=Liste\nApplication=2\nImportClass=ksbimport.importkunden\nProvider=Textdatei\n"
      "FileName=" +
      Spec("liste.txt") + "\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n[CfgSettings]\n";
  const std::string keys = "AddresstypeCode=1\nDublettenKey1=1\nDublettenKey2=1\nDublettenKey3=1\n";
  const std::string assignments =
      "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\nPLZ=FIELD:PLZ\n"
      "Ort=FIELD:Ort\n";
  WriteSpec("Mit.IMP", common + "DublettenPruefen=1\n" + keys + assignments);
  WriteSpec("Ohne.IMP", common + "DublettenPruefen=0\n" + keys + assignments);
  const std::string checked = Run({"check", "Mit", "--data", "--format", "json"}).out;
  // Records 3 and 6 repeat the first, 7 the second; those without an address repeat nothing.
  EXPECT_THAT(checked, HasSubstr("\"repeatedAddresses\":3"));
  EXPECT_THAT(Run({"check", "Mit", "--data"}).out,
              AllOf(HasSubstr("Datensatz 3 wie Datensatz 1"), HasSubstr("Datensatz 6 wie Datensatz 1"),
                    HasSubstr("Datensatz 7 wie Datensatz 2"), Not(HasSubstr("Datensatz 5 wie"))));
  EXPECT_THAT(Run({"check", "Ohne", "--data", "--format", "json"}).out,
              HasSubstr("\"repeatedAddresses\":null"));
}

}  // namespace
}  // namespace kestrel
