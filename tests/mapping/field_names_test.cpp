// Which fields and columns mean the same by their names.
#include "mapping/field_names.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kestrel {

// How a failing test shows a pair.
void PrintTo(const NamePair& pair, std::ostream* stream) { *stream << pair.field << "<-" << pair.column; }

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Names = std::vector<std::string>;

std::vector<NamePair> Pairs(const Names& fields, const Names& columns, std::vector<bool> used = {}) {
  return PairByName(fields, columns, std::move(used));
}

TEST(FoldNameTest, LeavesLettersAndDigitsWithoutCaseAndUmlauts) {
  EXPECT_EQ(FoldName("E-Mail"), "EMAIL");
  EXPECT_EQ(FoldName("Straße / Nr. 2"), "STRASSENR2");
  EXPECT_EQ(FoldName("Überweisung"), FoldName("UEBERWEISUNG"));
  EXPECT_EQ(FoldName("ärger öl"), "AERGEROEL");
  EXPECT_EQ(FoldName("Café"), FoldName("CAFÉ"));
  EXPECT_EQ(FoldName("§ - «»"), "");
}

TEST(AreSynonymsTest, KnowsTheUsualNamesOfTheSameThing) {
  const std::vector<std::pair<const char*, const char*>> same = {{"Straße", "Str."},
                                                                 {"Strasse", "Straße und Hausnummer"},
                                                                 {"PLZ", "Postleitzahl"},
                                                                 {"EMail", "Mail"},
                                                                 {"E-Mail", "E-Mail-Adresse"},
                                                                 {"Ort", "Wohnort"},
                                                                 {"Ort", "Stadt"},
                                                                 {"Telefon", "Tel."},
                                                                 {"Telefon", "Tel.-Nr."},
                                                                 {"Fax", "Telefax"},
                                                                 {"Mobil", "Handy"},
                                                                 {"Kundennummer", "Kd.-Nr."},
                                                                 {"Geburtsdatum", "Geb.-Datum"},
                                                                 {"Bez1", "Name"},
                                                                 {"Name", "Nachname"},
                                                                 {"Waehrung", "Währungscode"},
                                                                 {"Internet", "Homepage"},
                                                                 {"Bemerkung", "Notizen"}};
  for (const auto& [field, column] : same) {
    EXPECT_TRUE(AreSynonyms(field, column)) << field << " / " << column;
    EXPECT_TRUE(AreSynonyms(column, field)) << column << " / " << field;
  }
}

TEST(AreSynonymsTest, KnowsThemInEnglish) {
  const std::vector<std::pair<const char*, const char*>> same = {{"Nachname", "Last Name"},
                                                                 {"LastName", "Surname"},
                                                                 {"Vorname", "first_name"},
                                                                 {"Firma", "Company"},
                                                                 {"CompanyName", "Firmenname"},
                                                                 {"Bez1", "Company Name"},
                                                                 {"Strasse", "Street"},
                                                                 {"Address", "Straße"},
                                                                 {"Address1", "Street Address"},
                                                                 {"PLZ", "ZIP Code"},
                                                                 {"PostalCode", "Postleitzahl"},
                                                                 {"Ort", "City"},
                                                                 {"town", "Stadt"},
                                                                 {"Land", "Country"},
                                                                 {"State", "Bundesland"},
                                                                 {"Phone", "Telefon"},
                                                                 {"Telephone Number", "Tel.-Nr."},
                                                                 {"Mobile", "Handy"},
                                                                 {"EMail", "e-mail address"},
                                                                 {"KundenNummer", "Customer No."},
                                                                 {"BirthDate", "Geburtstag"},
                                                                 {"Notes", "Bemerkung"}};
  for (const auto& [field, column] : same) {
    EXPECT_TRUE(AreSynonyms(field, column)) << field << " / " << column;
    EXPECT_TRUE(AreSynonyms(column, field)) << column << " / " << field;
  }
}

TEST(AreSynonymsTest, KeepsDifferentThingsApart) {
  const std::vector<std::pair<const char*, const char*>> different = {{"Name", "Vorname"},
                                                                      {"Telefon", "Telefax"},
                                                                      {"Telefon", "Mobil"},
                                                                      {"Ort", "PLZ"},
                                                                      {"Strasse", "Hausnummer"},
                                                                      {"Firma", "Nachname"},
                                                                      {"Kundennummer", "Lieferantennummer"},
                                                                      {"Last Name", "First Name"},
                                                                      {"State", "Staat"},
                                                                      {"Title", "Titel"},
                                                                      {"Street", "City"},
                                                                      {"Phone", "Mobile"},
                                                                      {"Address2", "Street"},
                                                                      {"Xyz", "Xyz2"},
                                                                      {"", ""},
                                                                      {"1", "1"}};
  for (const auto& [a, b] : different) EXPECT_FALSE(AreSynonyms(a, b)) << a << " / " << b;
}

TEST(AreSynonymsTest, ANumberAtTheEndHasToBeTheSameAndNoneIsOne) {
  EXPECT_TRUE(AreSynonyms("Telefon1", "Tel."));
  EXPECT_TRUE(AreSynonyms("Telefon", "Tel. 01"));
  EXPECT_TRUE(AreSynonyms("Telefon2", "Tel. 2"));
  EXPECT_FALSE(AreSynonyms("Telefon2", "Tel."));
  EXPECT_FALSE(AreSynonyms("Bez2", "Name"));
}

TEST(PairByNameTest, AGermanFileFindsTheColumnsOfAnEnglishTable) {
  EXPECT_EQ(
      Pairs({"CustomerId", "FirstName", "LastName", "Company", "Address", "City", "State", "Country",
             "PostalCode", "Phone", "Fax", "Email"},
            {"Kd.-Nr.", "Vorname", "Nachname", "Firma", "Straße", "PLZ", "Ort", "Land", "Telefon", "E-Mail"})
          .size(),
      10U);
}

TEST(PairByNameTest, TheSameNameGoesBeforeOneThatOnlyFoldsToIt) {
  EXPECT_THAT(Pairs({"Ort"}, {"ORT", "Ort"}), ElementsAre(NamePair{0, 1}));
  EXPECT_THAT(Pairs({"Strasse"}, {"Str.", "Straße"}), ElementsAre(NamePair{0, 1}));
}

TEST(PairByNameTest, OfTwoColumnsOfOneNameTheFirstIsTaken) {
  EXPECT_THAT(Pairs({"Name"}, {"Name", "Name"}), ElementsAre(NamePair{0, 0}));
}

TEST(PairByNameTest, ASynonymOnlyTakesAColumnThatNobodyUses) {
  EXPECT_THAT(Pairs({"Ort"}, {"Stadt"}), ElementsAre(NamePair{0, 0}));
  EXPECT_THAT(Pairs({"Ort"}, {"Stadt"}, {true}), IsEmpty());
  EXPECT_THAT(Pairs({"Stadt", "Ort"}, {"Stadt"}), ElementsAre(NamePair{0, 0}));
}

TEST(PairByNameTest, AColumnServesTwoFieldsOnlyWhereTheNamesSaySo) {
  EXPECT_THAT(Pairs({"Strasse", "Straße"}, {"STRASSE"}), ElementsAre(NamePair{0, 0}, NamePair{1, 0}));
  EXPECT_THAT(Pairs({"Name"}, {"Name"}, {true}), ElementsAre(NamePair{0, 0}));
}

TEST(PairByNameTest, WhereSeveralSynonymsAreToBeHadNoneIsTaken) {
  EXPECT_THAT(Pairs({"Bez1"}, {"Firma", "Name"}), IsEmpty());
  EXPECT_THAT(Pairs({"Bez1", "Nachname"}, {"Name"}), IsEmpty());
}

TEST(PairByNameTest, APersonsNamesGoIntoTheDesignationsOfADestinationWithoutFieldsForThem) {
  const Names bez = {"Bez1", "Bez2", "Bez3"};
  EXPECT_THAT(Pairs(bez, {"Vorname", "Nachname"}), ElementsAre(NamePair{0, 1}, NamePair{1, 0}));
  EXPECT_THAT(Pairs(bez, {"Name", "Vorname"}), ElementsAre(NamePair{0, 0}, NamePair{1, 1}));
  EXPECT_THAT(Pairs(bez, {"first name", "Last_Name"}), ElementsAre(NamePair{0, 1}, NamePair{1, 0}));
  EXPECT_THAT(Pairs(bez, {"Familienname"}), ElementsAre(NamePair{0, 0}));
}

TEST(PairByNameTest, ACompanyGoesBeforeAPersonsNames) {
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Vorname", "Nachname", "Firma"}), ElementsAre(NamePair{0, 2}));
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Vorname", "Name", "Firma"}), IsEmpty()) << "either can be meant";
}

TEST(PairByNameTest, FieldsOfTheirOwnTakeAPersonsNamesAlone) {
  EXPECT_THAT(Pairs({"Bez1", "Bez2", "Nachname", "Vorname"}, {"Vorname", "Nachname"}),
              ElementsAre(NamePair{2, 1}, NamePair{3, 0}));
  EXPECT_THAT(PairByName(Names{"Bez1", "Bez2"}, Names{"Nachname"}, {false}, Names{"Familienname"}), IsEmpty());
}

TEST(PairByNameTest, APersonsNamesAreNotGuessedWhereTheyAreNotTheOnlyOnes) {
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Vorname"}), IsEmpty()) << "a first name alone designates nobody";
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Nachname", "Zuname"}), IsEmpty());
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Nachname", "Vorname", "Rufname"}), ElementsAre(NamePair{0, 0}));
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Vorname", "Nachname"}, {true, false}), ElementsAre(NamePair{0, 1}));
  EXPECT_THAT(Pairs({"Bez1", "Bez2"}, {"Vorname", "Nachname"}, {false, true}), IsEmpty());
}

TEST(PairByNameTest, NamesThatHoldNoLetterMatchOnlyToTheLetter) {
  EXPECT_THAT(Pairs({"-", "§"}, {"§", "_"}), ElementsAre(NamePair{1, 0}));
  EXPECT_THAT(Pairs({""}, {""}), IsEmpty());
}

}  // namespace
}  // namespace kestrel
