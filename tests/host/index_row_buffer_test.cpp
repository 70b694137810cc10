// Rows of the address index that are written behind: nobody can tell, whatever happens to their group.
#include "storage/index_row_buffer.h"

#include <mutex>

#include "host/host_fixture.h"
#include "keys/duplicate_keys.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class IndexRowBuffers : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "there, rows are sent through the pipeline";
  }

  void ImportNumbered(const ObjectPtr& importer, int number) {
    const std::string text = std::to_string(number);
    const std::string name = "Name " + std::to_string(number * 7919 % 1000);
    const std::string error =
        Import(importer, {{"KundenNummer", text.c_str()}, {"Bez1", name.c_str()}, {"PLZ", "50667"}});
    ++handed_over;
    if (!error.empty()) Note(importer);
  }
  void ImportNumbered(const ObjectPtr& importer, int first, int last) {
    for (int number = first; number <= last; ++number) ImportNumbered(importer, number);
  }
  // The errors that come up later.
  void Finish(const ObjectPtr& importer) {
    while (CallMethod(importer, "NextLateError").ToBool()) Note(importer);
    CallMethod(importer, "AfterImport");
  }
  void Note(const ObjectPtr& importer) {
    errors.push_back(GetProperty(importer, "ErrorDescription").ToText());
    lost += static_cast<int>(GetProperty(importer, "ErrorLastRecord").ToInteger() -
                             GetProperty(importer, "ErrorFirstRecord").ToInteger()) +
            1;
  }
  // An index that does not take the row of one address.
  void Refuse(const std::string& reference) {
    connection->Execute("CREATE TRIGGER t BEFORE INSERT ON Adressindex WHEN new.Referenz = '" + reference +
                        "' BEGIN SELECT RAISE(ABORT, 'nicht diese'); END");
  }
  // However long each group has lasted: by a connection of its own, which sees what is committed.
  void ExpectThatEachAddressHasItsRow() {
    EXPECT_EQ(
        Committed(
            "SELECT (SELECT count(*) FROM Kunden WHERE KundenNummer * 64 + 1 NOT IN (SELECT AdressId FROM "
            "Adressindex)) + (SELECT count(*) FROM Adressindex WHERE AdressId / 64 NOT IN (SELECT "
            "KundenNummer FROM Kunden))"),
        "0");
  }
  void ExpectThatNothingIsLostUntold() {
    ExpectThatEachAddressHasItsRow();
    EXPECT_EQ(Committed("SELECT count(*) FROM Kunden"), std::to_string(handed_over - lost));
  }
  std::string Committed(const std::string& sql) {
    return std::string(OpenConnection(file)->OpenRecordset(sql)->TextAt(0));
  }
  static std::string KeyOf(const char* name) {
    return host::BuildDoubletKey("5", "50667|||" + std::string(name) + "|" + name + "||||");
  }

  int handed_over = 0;
  int lost = 0;
  std::vector<std::string> errors;
};

}  // namespace

TEST_F(IndexRowBuffers, StoreWhatTheWriterWouldHaveStoredAtOnce) {
  const char* rows = "SELECT * FROM Adressindex ORDER BY AdressId";
  const ObjectPtr importer = Importer();
  // More than one statement takes, and some over.
  ImportNumbered(importer, 1, 215);
  const std::vector<std::string> behind = Rows(rows);
  Finish(importer);
  connection->Execute("DELETE FROM Adressindex");
  connection->Execute("DELETE FROM Kunden");
  // In a transaction of the caller's nothing waits.
  connection->Begin();
  ImportNumbered(importer, 1, 215);
  connection->Commit();
  EXPECT_EQ(Rows(rows), behind);
  EXPECT_EQ(behind.size(), 215U);
}

TEST_F(IndexRowBuffers, AreThereWithTheCommitOfTheirAddresses) {
  const ObjectPtr importer = Importer();
  for (int number = 1; number <= 40; ++number) {
    ImportNumbered(importer, number);
    ExpectThatEachAddressHasItsRow();
  }
  Finish(importer);
  EXPECT_EQ(lost, 0);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, TakeMoreThanMayWait) {
  const ObjectPtr importer = Importer();
  ImportNumbered(importer, 1, static_cast<int>(host::IndexRowBuffer::kMostRows) + 100);
  Finish(importer);
  EXPECT_EQ(lost, 0);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, ReplaceRowsThatAddressesWhichAreGoneHaveLeft) {
  const ObjectPtr importer = Importer();
  ImportNumbered(importer, 1, 20);
  CallMethod(importer, "NextLateError");
  connection->Execute("DELETE FROM Kunden WHERE KundenNummer = 7");
  ImportNumbered(importer, 21, 30);
  ASSERT_EQ(Import(importer, {{"KundenNummer", "7"}, {"Bez1", "Meyer"}, {"PLZ", "50667"}}), "");
  ImportNumbered(importer, 31, 50);
  Finish(importer);
  ExpectThatNothingIsLostUntold();
  EXPECT_THAT(Rows("SELECT Doubletkey2 FROM Adressindex WHERE Referenz = '7'"), ElementsAre(KeyOf("Meyer")));
}

TEST_F(IndexRowBuffers, LoseTheirGroupWhereTheyCannotBeStored) {
  Refuse("13");
  const ObjectPtr importer = Importer();
  ImportNumbered(importer, 1, 20);
  Finish(importer);
  EXPECT_THAT(errors, ElementsAre(HasSubstr("nicht diese")));
  ExpectThatNothingIsLostUntold();
  EXPECT_EQ(Committed("SELECT count(*) FROM Kunden WHERE KundenNummer = 13"), "0");
  // The next group is none the worse for it.
  ImportNumbered(importer, 21, 40);
  Finish(importer);
  EXPECT_EQ(errors.size(), 1U);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, LoseTheirGroupAlsoWhereALookUpHasAskedForThem) {
  Refuse("3");
  const ObjectPtr importer = Importer();
  ImportNumbered(importer, 1, 5);
  EXPECT_THAT(Rows("SELECT Referenz FROM Adressindex WHERE Referenz = '3'"), IsEmpty());
  ImportNumbered(importer, 6, 9);
  Finish(importer);
  EXPECT_THAT(errors, ElementsAre(HasSubstr("nicht diese")));
  ExpectThatNothingIsLostUntold();
  EXPECT_EQ(Committed("SELECT count(*) FROM Kunden WHERE KundenNummer = 3"), "0");
}

TEST_F(IndexRowBuffers, AreGoneWithATransactionThatSomebodyElseHasEnded) {
  const ObjectPtr importer = Importer();
  ImportNumbered(importer, 1, 5);
  {
    // The timer commits nothing meanwhile.
    const std::lock_guard lock(connection->CallMutex());
    ImportNumbered(importer, 6);
    if (!connection->InTransaction()) GTEST_SKIP() << "the group has ended by itself";
    connection->Execute("ROLLBACK");
  }
  ImportNumbered(importer, 7, 9);
  Finish(importer);
  EXPECT_THAT(errors, ElementsAre(HasSubstr("Transaktion")));
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, StayWhenARecordBehindThemIsUndoneToItsSavepoint) {
  const ObjectPtr importer = OverwritingImporter();
  ImportNumbered(importer, 1, 5);
  // An update that reads the row first and then fails.
  EXPECT_NE(Import(importer, {{"KundenNummer", "2"}, {"Bez1", "x"}, {"Mitarbeiter", "-1"}}), "");
  Finish(importer);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, AreStoredBeforeAnUpdateOfTheSameAddress) {
  const ObjectPtr importer = OverwritingImporter();
  ASSERT_EQ(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Meyer"}, {"PLZ", "50667"}}), "");
  ASSERT_EQ(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "Schulze"}}), "");
  Finish(importer);
  EXPECT_EQ(Committed("SELECT Doubletkey2 FROM Adressindex"), KeyOf("Schulze"));
}

TEST_F(IndexRowBuffers, AreNotLeftBehindByAnImporterThatIsLetGo) {
  ImportNumbered(Importer(), 1, 5);
  ExpectThatEachAddressHasItsRow();
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("5"));
}

TEST_F(IndexRowBuffers, LeaveNothingOfALostGroupBehindTheirImporter) {
  Refuse("3");
  ImportNumbered(Importer(), 1, 5);
  ExpectThatEachAddressHasItsRow();
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden WHERE KundenNummer = 3"), IsEmpty());
}

}  // namespace kestrel
