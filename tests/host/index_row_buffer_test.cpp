// Rows of the address index that are written behind: nobody can tell, whatever happens to their group.
#include "storage/index_row_buffer.h"

#include <mutex>
#include <optional>

#include "host/host_fixture.h"
#include "keys/duplicate_keys.h"
#include "platform/data/absent_values.h"
#include "schema/table_query.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class IndexRowBuffers : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!IsSkipped() && OnPostgres()) GTEST_SKIP() << "there, rows are sent through the pipeline";
  }

  void ImportNumbered(const ObjectPtr& importer, int number) {
    const std::string text = std::to_string(number);
    const std::string name = NameOf(number);
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
  // Stores a first address and asks as the duplicate check does, so that the table is known.
  void Acquaint(const ObjectPtr& importer) {
    ImportNumbered(importer, 100000);
    host::GroupedWrites::Of(*connection).Flush();
    const SoughtValue values[] = {{"Doubletkey2", "unbekannt"}};
    const std::lock_guard lock(connection->CallMutex());
    connection->attachments().Of<AbsentValues>(*connection).Lacks("Adressindex", values);
  }
  std::vector<std::string> LookUpKey(const std::string& key) {
    const SoughtValue values[] = {{"Doubletkey2", key}};
    const SoughtRows rows{"Adressindex", values};
    const std::lock_guard lock(connection->CallMutex());
    const AbsentValues::Query opened(connection->attachments().Of<AbsentValues>(*connection), rows);
    return Rows("SELECT Referenz FROM Adressindex WHERE Doubletkey2 = '" + key + "'");
  }
  // How many rows `query` has stored before it, of one group that the timer leaves alone; none where the group has
  // ended by itself.
  template <class Query>
  std::optional<int> StoredBefore(const ObjectPtr& importer, Query&& query) {
    const std::lock_guard lock(connection->CallMutex());
    const auto& group = host::GroupedWrites::Of(*connection);
    Acquaint(importer);
    ImportNumbered(importer, 1);
    const std::uint64_t generation = group.Generation();
    ImportNumbered(importer, 2, 5);
    const auto& absent = connection->attachments().Of<AbsentValues>(*connection);
    const std::uint64_t before = absent.StoredRows();
    query();
    if (group.Generation() != generation || !group.IsOpen()) return std::nullopt;
    return static_cast<int>(absent.StoredRows() - before);
  }
  static std::string NameOf(int number) { return "Name " + std::to_string(number * 7919 % 1000); }
  static std::string KeyOf(const char* name) {
    return host::BuildDoubletKey("7", "50667|||" + std::string(name) + "|" + name + "||||");
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

TEST_F(IndexRowBuffers, GoOnWaitingWhereALookUpFindsOthers) {
  const ObjectPtr importer = Importer();
  const std::string key = KeyOf(NameOf(3).c_str());
  std::vector<std::string> found;
  const auto stored = StoredBefore(importer, [&] { found = LookUpKey(key); });
  if (!stored) GTEST_SKIP() << "the group has ended by itself";
  EXPECT_THAT(found, Contains("3"));
  EXPECT_LT(*stored, 5);
  Finish(importer);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, AreFoundByALookUpForEachOfThem) {
  const ObjectPtr importer = Importer();
  Acquaint(importer);
  // So many that they are hung up anew, half of them while earlier ones are stored already.
  for (int number = 1; number <= 700; ++number) {
    ImportNumbered(importer, number);
    if (number % 2 == 0) continue;
    ASSERT_THAT(LookUpKey(KeyOf(NameOf(number).c_str())), Contains(std::to_string(number)));
    ASSERT_THAT(LookUpKey(KeyOf(NameOf(number / 2 + 1).c_str())), Contains(std::to_string(number / 2 + 1)));
  }
  Finish(importer);
  EXPECT_EQ(lost, 0);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, AreFoundHoweverManyOthersAreLookedFor) {
  const ObjectPtr importer = Importer();
  const std::lock_guard no_timer(connection->CallMutex());
  Acquaint(importer);
  ImportNumbered(importer, 1);
  for (int i = 0; i < 3000; ++i) ASSERT_THAT(LookUpKey("anderer " + std::to_string(i)), IsEmpty());
  EXPECT_THAT(LookUpKey(KeyOf(NameOf(1).c_str())), Contains("1"));
  Finish(importer);
  ExpectThatNothingIsLostUntold();
}

TEST_F(IndexRowBuffers, AreAllStoredBeforeALookUpInATableThatComparesInAnotherWay) {
  connection->Execute("DROP TABLE Adressindex");
  connection->Execute(
      "CREATE TABLE Adressindex (AdressId INTEGER PRIMARY KEY, Adressart INTEGER NOT NULL, Referenz "
      "VARCHAR(20) "
      "NOT NULL, Doubletkey1 TEXT, Doubletkey2 TEXT COLLATE NOCASE, Doubletkey3 TEXT)");
  const ObjectPtr importer = Importer();
  const auto stored = StoredBefore(importer, [&] { LookUpKey("abc"); });
  if (!stored) GTEST_SKIP() << "the group has ended by itself";
  EXPECT_EQ(*stored, 5);
}

TEST_F(IndexRowBuffers, GoOnWaitingWhereAnotherTableIsRead) {
  const ObjectPtr importer = Importer();
  host::TableQuery groups(*connection, "Kundengruppen");
  const auto read = [this] { return connection->OpenRecordset("SELECT * FROM Kundengruppen"); };
  groups.Open(read);
  const auto stored = StoredBefore(importer, [&] { groups.Open(read); });
  if (!stored) GTEST_SKIP() << "the group has ended by itself";
  EXPECT_EQ(*stored, 0);
}

TEST_F(IndexRowBuffers, AreAllStoredBeforeAViewIsRead) {
  connection->Execute("CREATE VIEW Sicht AS SELECT * FROM Adressindex");
  const ObjectPtr importer = Importer();
  host::TableQuery view(*connection, "Sicht");
  std::size_t seen = 0;
  const auto read = [&] { return connection->OpenRecordset("SELECT count(*) FROM Sicht"); };
  view.Open(read);
  const auto stored =
      StoredBefore(importer, [&] { seen = static_cast<std::size_t>(view.Open(read)->ValueAt(0).ToInteger()); });
  if (!stored) GTEST_SKIP() << "the group has ended by itself";
  EXPECT_EQ(*stored, 5);
  EXPECT_EQ(seen, 6U);
}

TEST_F(IndexRowBuffers, LoseTheirGroupWhereTheOneThatALookUpFindsCannotBeStored) {
  Refuse("3");
  const ObjectPtr importer = Importer();
  Acquaint(importer);
  ImportNumbered(importer, 1, 5);
  EXPECT_THAT(LookUpKey(KeyOf(NameOf(3).c_str())), Not(Contains("3")));
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
