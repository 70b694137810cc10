// Records that the database refuses, on hosts that wait for each answer and on those that do not.
#include "host/host_fixture.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class LateErrors : public testing::HostFixture {
 protected:
  // The errors of a record, or of earlier ones, as they are told.
  void ImportNumbered(int number, const char* employees) {
    const std::string text = std::to_string(number);
    Note(Import(importer, {{"KundenNummer", text.c_str()},
                           {"Bez1", text.c_str()},
                           {"PLZ", "50667"},
                           {"Mitarbeiter", employees}}));
  }
  void Finish() {
    while (CallMethod(importer, "NextLateError").ToBool()) {
      Note(GetProperty(importer, "ErrorDescription").ToText());
    }
  }
  void Note(const std::string& error) {
    if (!error.empty()) errors.push_back(error);
  }

  const ObjectPtr importer = OverwritingImporter();
  std::vector<std::string> errors;
};

}  // namespace

TEST_F(LateErrors, EachRefusedRecordIsToldOnceAndInOrderAndTheOthersAreStored) {
  for (int i = 1; i <= 1000; ++i) ImportNumbered(i, i % 90 == 0 ? "-1" : "5");
  Finish();
  ASSERT_THAT(errors, SizeIs(11));
  if (OnPostgres()) {
    for (int i = 1; i <= 11; ++i) {
      EXPECT_THAT(errors[i - 1], HasSubstr("KundenNummer " + std::to_string(i * 90) + ": "));
    }
  }
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("989"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("989"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden WHERE KundenNummer % 90 = 0"), ElementsAre("0"));
}

TEST_F(LateErrors, RecordsOfOneNumberAreStoredOneOverTheOther) {
  ImportNumbered(5, "1");
  Note(Import(importer, {{"KundenNummer", "6"}, {"Bez1", "anderer"}}));
  Note(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "fünf"}, {"PLZ", "04109"}}));
  Note(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "FÜNF"}, {"Mitarbeiter", "-1"}}));
  Note(Import(importer, {{"Bez1", "ohne Nummer"}}));
  Finish();
  EXPECT_THAT(errors, SizeIs(1));
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1, PLZ, Mitarbeiter FROM Kunden ORDER BY 1"),
              ElementsAre("5|fünf|04109|1", "6|anderer|NULL|NULL", "7|ohne Nummer|NULL|NULL"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("3"));
}

TEST_F(LateErrors, ARefusedRecordWithoutNumberTakesNone) {
  for (const char* employees : {"1", "-1", "2"}) {
    Note(Import(importer, {{"Bez1", "Müller"}, {"Mitarbeiter", employees}}));
  }
  Finish();
  ASSERT_THAT(errors, SizeIs(1));
  if (OnPostgres()) {
    EXPECT_THAT(errors[0], HasSubstr("Bez1 'Müller': "));
  }
  EXPECT_THAT(Rows("SELECT KundenNummer, Mitarbeiter FROM Kunden ORDER BY 1"), ElementsAre("1|1", "2|2"));
}

TEST_F(LateErrors, AnErrorOfTheRecordAtHandComesBehindThoseOfEarlierOnes) {
  ImportNumbered(1, "-1");
  // Whatever makes the database answer.
  Rows("SELECT count(*) FROM Kunden");
  Note(Import(importer, {{"KundenNummer", "2"}}));
  Finish();
  ASSERT_THAT(errors, SizeIs(2));
  EXPECT_THAT(errors[1], HasSubstr("Pflichtfeld"));
}

TEST_F(LateErrors, AnImporterThatIsLetGoLosesNoRecord) {
  {
    const ObjectPtr other = Importer();
    Note(Import(other, {{"KundenNummer", "1"}, {"Bez1", "eins"}}));
    Note(Import(other, {{"KundenNummer", "2"}, {"Bez1", "zwei"}}));
  }
  ImportNumbered(3, "1");
  Finish();
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("3"));
}

TEST_F(LateErrors, ACommitThatFailsIsToldBeforeTheImportEnds) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a constraint that is looked at with the commit";
  connection->Execute(
      "ALTER TABLE Kunden ADD FOREIGN KEY (Kundengruppe) REFERENCES Kundengruppen DEFERRABLE INITIALLY "
      "DEFERRED");
  ImportNumbered(1, "1");
  Note(Import(importer, {{"KundenNummer", "2"}, {"Bez1", "x"}, {"Kundengruppe", "?"}}));
  Finish();
  EXPECT_THAT(errors, ElementsAre(HasSubstr("2 Datensätze konnten nicht gespeichert werden.")));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
}

TEST_F(LateErrors, AConnectionThatBreaksLeavesNothingHalfStored) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  for (int i = 1; i <= 200; ++i) ImportNumbered(i, "1");
  OpenConnection(file)->OpenRecordset(
      "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() AND pid <> "
      "pg_backend_pid()");
  for (int i = 201; i <= 400; ++i) ImportNumbered(i, "1");
  Finish();
  EXPECT_THAT(errors, IsEmpty());
  const ConnectionPtr again = OpenConnection(file);
  const auto count = [&](const char* table) {
    return std::string(again->OpenRecordset(std::string("SELECT count(*) FROM ") + table)->TextAt(0));
  };
  EXPECT_EQ(count("Kunden"), "400");
  EXPECT_EQ(count("Adressindex"), "400");
}

}  // namespace kestrel
