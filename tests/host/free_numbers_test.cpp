// Numbers that the database gives, also where several import at the same time.
#include "storage/free_numbers.h"

#include <gmock/gmock.h>

#include <mutex>
#include <set>
#include <thread>

#include "host/host_fixture.h"
#include "kestrel/transaction.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

class FreeNumbers : public testing::HostFixture {
 protected:
  ObjectPtr ImporterOf(const ConnectionPtr& by) {
    const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
    SetProperty(importer, "Connection", by);
    return importer;
  }
  std::vector<std::string> Stored() { return Rows("SELECT KundenNummer, Bez1 FROM Kunden ORDER BY 1"); }
};

}  // namespace

TEST_F(FreeNumbers, TwoWhoStoreAtTheSameTimeGetDifferentOnes) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite lets one store at a time";
  const ConnectionPtr other = OpenConnection(file + ";LockWait=0.001");
  const ObjectPtr importers[] = {Importer(), ImporterOf(other)};
  // The timers that end groups wait.
  const std::lock_guard held(connection->CallMutex());
  const std::lock_guard held_too(other->CallMutex());
  for (int i = 0; i < 50; ++i) {
    for (const ObjectPtr& importer : importers) ASSERT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  }
  for (const ObjectPtr& importer : importers) {
    CallMethod(importer, "AfterImport");
    EXPECT_FALSE(CallMethod(importer, "NextLateError").ToBool());
  }
  EXPECT_THAT(Rows("SELECT count(DISTINCT KundenNummer) FROM Kunden"), ElementsAre("100"));
}

TEST_F(FreeNumbers, OfASequenceThatSeveralMoveOnAndGiveBackAreGivenOnce) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite lets one store at a time";
  constexpr int kClerks = 8;
  constexpr int kImports = 40;
  std::vector<std::vector<std::int64_t>> given(kClerks);
  std::vector<std::thread> clerks;
  for (int clerk = 0; clerk < kClerks; ++clerk) {
    clerks.emplace_back([&, clerk] {
      // A wait for another one's transaction would be an error.
      const ConnectionPtr own = OpenConnection(file + ";LockWait=20");
      for (int import = 0; import < kImports; ++import) {
        const auto numbers = host::FreeNumbers::Of(*own, "Kunden", "KundenNummer");
        own->Begin();
        for (int i = 0; i < 5; ++i) {
          given[static_cast<std::size_t>(clerk)].push_back(numbers->Next());
          numbers->Take(numbers->Next());
        }
        // One that came with its record.
        if (clerk % 2 == 0) numbers->Take(given[static_cast<std::size_t>(clerk)].back() + 20);
        numbers->BeforeCommit();
        own->Commit();
      }
    });
  }
  for (std::thread& clerk : clerks) clerk.join();
  std::set<std::int64_t> all;
  for (const auto& numbers : given) {
    for (const std::int64_t number : numbers) EXPECT_TRUE(all.insert(number).second) << number;
  }
  EXPECT_EQ(all.size(), static_cast<std::size_t>(kClerks * kImports * 5));
  EXPECT_THAT(Rows("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'"), ElementsAre("0"));
}

TEST_F(FreeNumbers, ASequenceIsNeitherMovedOnNorGivenBackWhileSomebodyDraws) {
  if (!OnPostgres()) GTEST_SKIP() << "has no sequences";
  const ConnectionPtr drawing = OpenConnection(file);
  drawing->OpenRecordset(
      "SELECT pg_advisory_lock_shared(1263747667::bigint << 32 | "
      "'kunden_kundennummer_seq'::regclass::oid::bigint)::text");
  const ConnectionPtr hasty = OpenConnection(file + ";LockWait=0,1");
  const auto numbers = host::FreeNumbers::Of(*hasty, "Kunden", "KundenNummer");
  hasty->Begin();
  EXPECT_EQ(numbers->Next(), 1) << "drawing hinders nobody who draws";
  numbers->Take(500);
  EXPECT_ERROR_TEXT(numbers->BeforeCommit(), ErrorNumber::kDatabase, ::testing::HasSubstr("gesperrt"));
  drawing->Close();
  numbers->BeforeCommit();
  hasty->Commit();
  EXPECT_THAT(Rows("SELECT last_value FROM kunden_kundennummer_seq"), ElementsAre("500"));
}

TEST_F(FreeNumbers, ThatCannotBeDrawnLeaveTheirLock) {
  if (!OnPostgres()) GTEST_SKIP() << "has no sequences";
  connection->Execute("ALTER SEQUENCE kunden_kundennummer_seq MAXVALUE 2");
  const auto numbers = host::FreeNumbers::Of(*connection, "Kunden", "KundenNummer");
  connection->Begin();
  numbers->Take(numbers->Next());
  EXPECT_ERROR(numbers->Next(), ErrorNumber::kDatabase);
  EXPECT_THAT(Rows("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory'"), ElementsAre("0"));
  connection->Rollback();
}

TEST_F(FreeNumbers, ANumberOfTheSourceIsNeverGivenAgain) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"KundenNummer", "5"}, {"Bez1", "A"}}), "");
  CallMethod(importer, "AfterImport");
  const ConnectionPtr other = OpenConnection(file);
  const ObjectPtr second = ImporterOf(other);
  EXPECT_EQ(Import(second, {{"Bez1", "B"}}), "");
  CallMethod(second, "AfterImport");
  EXPECT_FALSE(CallMethod(second, "NextLateError").ToBool());
  EXPECT_THAT(Stored(), ElementsAre("5|A", "6|B"));
}

TEST_F(FreeNumbers, ThatAreTakenPastTheSequenceArePassedOverHoweverManyTheyAre) {
  const ObjectPtr importer = Importer();
  EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
  CallMethod(importer, "AfterImport");
  InTransaction(*connection, [&] {
    for (int number = 2; number <= 500; ++number) {
      connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (" + std::to_string(number) +
                          ", 'x')");
    }
  });
  EXPECT_EQ(Import(importer, {{"Bez1", "B"}}), "");
  EXPECT_EQ(Import(importer, {{"Bez1", "C"}}), "");
  CallMethod(importer, "AfterImport");
  EXPECT_FALSE(CallMethod(importer, "NextLateError").ToBool());
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1 FROM Kunden WHERE Bez1 <> 'x' ORDER BY 2"),
              ElementsAre("1|A", "501|B", "502|C"));
}

TEST_F(FreeNumbers, AreHadBesideAProgramThatAlwaysTakesTheNextOneFirst) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite lets one store at a time";
  const ConnectionPtr other = OpenConnection(file);
  const auto numbers = host::FreeNumbers::Of(*connection, "Kunden", "KundenNummer");
  connection->Begin();
  std::int64_t number = 0;
  InsertNumbered(*numbers, [&](std::int64_t free) {
    other->Execute(
        "INSERT INTO Kunden (KundenNummer, Bez1) SELECT coalesce(max(KundenNummer), 0) + 1, 'fremd' FROM "
        "Kunden");
    number = free;
    return connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (" + std::to_string(free) +
                               ", 'eigen') ON CONFLICT DO NOTHING") == 1;
  });
  numbers->Take(number);
  numbers->BeforeCommit();
  connection->Commit();
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden WHERE Bez1 = 'eigen'"), ElementsAre("1"));
  EXPECT_LT(number, 20);
}

TEST_F(FreeNumbers, OfAnImportThatEndsLeaveNoGapForTheNext) {
  for (int import = 0; import < 2; ++import) {
    const ObjectPtr importer = Importer();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Import(importer, {{"Bez1", "A"}}), "");
    CallMethod(importer, "AfterImport");
  }
  EXPECT_THAT(Rows("SELECT max(KundenNummer), count(*) FROM Kunden"), ElementsAre("10|10"));
}

TEST_F(FreeNumbers, InADatabaseOfAnEarlierVersionBeginBehindThoseThatAreThere) {
  connection->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (17, 'alt')");
  if (OnPostgres()) connection->Execute("DROP SEQUENCE kunden_kundennummer_seq");
  EXPECT_EQ(Import(Importer(), {{"Bez1", "neu"}}), "");
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(Stored(), ElementsAre("17|alt", "18|neu"));
}

TEST_F(FreeNumbers, OfAColumnThatHasItsOwnSequenceComeFromThere) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite has no sequences";
  connection->Execute("DROP SEQUENCE kunden_kundennummer_seq");
  connection->Execute(
      "ALTER TABLE Kunden ALTER KundenNummer ADD GENERATED BY DEFAULT AS IDENTITY (START WITH 70000 MINVALUE "
      "70000)");
  EXPECT_EQ(Import(Importer(), {{"Bez1", "A"}}), "");
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(Stored(), ElementsAre("70000|A"));
}

TEST_F(FreeNumbers, ATestRunTakesNone) {
  {
    const ObjectPtr importer = Importer();
    Value record = CallMethod(importer, "GetNewRecord");
    ToRecordset(record)->SetText(ToRecordset(record)->RequireColumn("Bez1"), "A");
    CallMethod(importer, "CheckRecord", ByRef(record));
    CallMethod(importer, "AfterImport");
  }
  EXPECT_EQ(Import(Importer(), {{"Bez1", "A"}}), "");
  host::GroupedWrites::Of(*connection).Flush();
  EXPECT_THAT(Stored(), ElementsAre("1|A"));
}

TEST_F(FreeNumbers, TwoWhoBeginLogsAtTheSameTimeGetDifferentOnes) {
  const auto begin = [&](const ConnectionPtr& by) {
    const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
    return CallMethod(log, "CreateProtokoll", Value(ObjectPtr(by)), "Titel", "Benutzer", "Liste", "1.1.2026",
                      "", "", "")
        .ToText();
  };
  const ConnectionPtr other = OpenConnection(file);
  EXPECT_EQ(begin(connection), "1");
  EXPECT_EQ(begin(other), "2");
  connection->Execute("INSERT INTO Protokoll (ProtokollNr, Titel, Liste) VALUES (3, 'von anderer Hand', '')");
  EXPECT_EQ(begin(connection), "4");
}

TEST_F(FreeNumbers, AreNotCommittedWhereTheirSequenceCannotBeMovedOn) {
  if (!OnPostgres()) GTEST_SKIP() << "has no sequences";
  const ConnectionPtr hasty = OpenConnection(file + ";LockWait=0,1");
  const auto numbers = host::FreeNumbers::Of(*hasty, "Kunden", "KundenNummer");
  const ConnectionPtr other = OpenConnection(file);
  other->Begin();
  other->Execute("ALTER SEQUENCE kunden_kundennummer_seq CACHE 2");
  hasty->Begin();
  numbers->Take(500);
  EXPECT_ERROR_TEXT(numbers->BeforeCommit(), ErrorNumber::kDatabase, ::testing::HasSubstr("gesperrt"));
  other->Rollback();
  hasty->Rollback();
}

}  // namespace kestrel
