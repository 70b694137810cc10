// What stands in the ledger of the sample host, and when.
#include "ledger/run_ledger.h"
#include "host/ledger_fixture.h"
#include "platform/base/file.h"
#include "support/eventually.h"
#include "support/forked_child.h"

namespace kestrel {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

using RunLedger = testing::LedgerFixture;

// However many groups the records were committed in.
constexpr const char* kEvents =
    "SELECT Ereignis, min(Datensatz), max(BisDatensatz), sum(Anzahl), min(Nummer), max(BisNummer) "
    "FROM Importlaufzeilen GROUP BY Ereignis ORDER BY Ereignis";

}  // namespace

TEST_F(RunLedger, SaysWhatIsImportedBeforeTheFirstRecord) {
  const ObjectPtr importer = Importer();
  LetProperty(importer, "PersonalNr", "4711");
  Start(importer);
  EXPECT_THAT(Rows("SELECT LaufNr, Zustand, ProgID, Tabelle, Spezifikation, Pruefsumme, Quelle, Quellgroesse, "
                   "Quellzeit, Benutzer, Ende FROM Importlauf"),
              ElementsAre("1|läuft|ksbimport.importkunden|Kunden|Kunden.IMP|c0ffee|kunden.txt|42|"
                          "2024-03-07 14:05:09|4711|NULL"));
}

TEST_F(RunLedger, EndsWithItsStateAndAllCounts) {
  const ObjectPtr importer = Importer();
  Start(importer);
  CallMethod(importer, "RunEnds", "stopped", 10, 4, 3, 2, 1, 5, 3, "2 in Bez1, 1 in Ort");
  EXPECT_THAT(Rows("SELECT Zustand, Gelesen, Neu, Aktualisiert, Zurueckgehalten, Abgewiesen, Fehler, "
                   "Gekuerzt, GekuerzteFelder FROM Importlauf"),
              ElementsAre("angehalten|10|4|3|2|1|5|3|2 in Bez1, 1 in Ort"));
  EXPECT_THAT(Rows("SELECT Ende FROM Importlauf"), ElementsAre(StartsWith("20")));
}

TEST_F(RunLedger, KeepsARowForManyNewAddresses) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 300);
  End(importer, 300);
  EXPECT_THAT(Rows("SELECT sum(Anzahl), min(Nummer), max(BisNummer), min(Tabelle) FROM Importlaufzeilen"),
              ElementsAre("300|1|300|Kunden"));
  EXPECT_LE(Rows("SELECT ZeilenNr FROM Importlaufzeilen").size(), 10u);
}

TEST_F(RunLedger, KeepsTheValuesOfTheFirstNewAddressesAndOfOthersAFingerprint) {
  host::Settings::Of(*connection).Set("Importlauf", "Werte", "1");
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Erste"}}, {{"KundenNummer", "8"}, {"Bez1", "Zweite"}}});
  std::string values;
  for (const std::string& row : Rows("SELECT Werte FROM Importlaufzeilen ORDER BY ZeilenNr")) values += row;
  EXPECT_THAT(values, AllOf(StartsWith("#r1;n7;i7;t5:Erste"), AnyOf(HasSubstr("#f"), HasSubstr("#r2;n8;f")),
                            Not(HasSubstr("Zweite"))));
}

TEST_F(RunLedger, KeepsTheValuesOfAllNewAddressesOfAUsualImport) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  EXPECT_THAT(Rows("SELECT Werte FROM Importlaufzeilen"), ElementsAre(StartsWith("#r1;n7;i7;t3:Alt")));
}

TEST_F(RunLedger, IsNotKeptWhereTheHostDoesNotWantIt) {
  host::Settings::Of(*connection).Set("Importlauf", "Fuehren", "0");
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden"), ElementsAre("7"));
  EXPECT_THAT(Rows("SELECT * FROM Importlauf"), IsEmpty());
}

TEST_F(RunLedger, TellsOfAnAddressInTheCommitThatStoresIt) {
  const ConnectionPtr other = OpenConnection(file);
  const auto seen = [&](const char* table) {
    return other->OpenRecordset(std::string("SELECT count(*) FROM ") + table)->ValueAt(0).ToInteger();
  };
  const ObjectPtr importer = Importer();
  Start(importer);
  // Some groups are committed by their time meanwhile, and at any moment both tables agree.
  for (int i = 0; i < 20; ++i) {
    ImportMany(importer, 50);
    const RecordsetPtr both = other->OpenRecordset(
        "SELECT (SELECT count(*) FROM Kunden), (SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen)");
    EXPECT_EQ(both->TextAt(0), both->TextAt(1));
  }
  Flush();
  EXPECT_EQ(seen("Kunden"), 1000);
}

TEST_F(RunLedger, LosesTheGroupWhereItCannotTellOfIt) {
  const ObjectPtr importer = Importer();
  Start(importer);
  connection->Execute("DROP TABLE Importlaufzeilen");
  ImportMany(importer, 3);
  End(importer);
  EXPECT_THAT(errors, ElementsAre(HasSubstr("3 Datensätze konnten nicht gespeichert werden.")));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
}

TEST_F(RunLedger, IsToldAsLockedWhereSomebodyLocksItBeforeTheRun) {
  if (!OnPostgres()) GTEST_SKIP() << "locks a server's table";
  const ObjectPtr importer = Importer();
  SetProperty(importer, "Connection", OpenConnection(file + ";LockWait=0,2"));
  connection->Begin();
  connection->Execute("LOCK TABLE Importlauf IN ACCESS EXCLUSIVE MODE");
  Start(importer);
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}), HasSubstr("nicht aufzeichnen"));
  EXPECT_THAT(GetProperty(importer, "StopReason").ToText(),
              AllOf(HasSubstr("sperrt die Datenbank"), Not(HasSubstr("Importlauf/Fuehren"))));
  connection->Rollback();
}

TEST_F(RunLedger, ForgetsTheAddressesOfALostGroup) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 2);
  Flush();
  ImportMany(importer, 3);
  connection->Rollback();
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}), HasSubstr("3 Datensätze")) << "told with the next record";
  End(importer, 3);
  EXPECT_THAT(Rows("SELECT sum(Anzahl) FROM Importlaufzeilen"), ElementsAre("3"));
}

TEST_F(RunLedger, KeepsOfAnUpdateOnlyTheFieldsThatChanged) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Köln"}, {"Umsatz", "1,5"}}});
  ImportAll(
      {{{"KundenNummer", "7"}, {"Bez1", "Neu"}, {"Ort", "Köln"}, {"Umsatz", "1,50"}, {"Mitarbeiter", "3"}}});
  const std::vector<std::string> values =
      Rows("SELECT Werte FROM Importlaufzeilen WHERE Ereignis = 'geändert'");
  ASSERT_THAT(values, SizeIs(1));
  host::LedgerBlockReader reader(values[0]);
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.number(), 7);
  EXPECT_EQ(reader.ReadChange(), 1u);
  EXPECT_EQ(reader.Read(), host::StoredValue(std::string_view("Alt")));
  EXPECT_EQ(reader.Read(), host::StoredValue(std::string_view("Neu")));
  ASSERT_TRUE(reader.ReadChange());
  EXPECT_EQ(reader.Read(), host::StoredValue());
  EXPECT_EQ(reader.Read(), host::StoredValue(std::int64_t{3}));
  EXPECT_FALSE(reader.ReadChange());
}

TEST_F(RunLedger, CountsTheRecordsOfTheSource) {
  const ObjectPtr importer = OverwritingImporter();
  Start(importer);
  CallMethod(importer, "RecordFate", 1, 4, "passed over");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "10"}, {"Bez1", "A"}}), "");
  CallMethod(importer, "RecordFate", 6, 6, "held back");
  EXPECT_NE(Import(importer, {{"KundenNummer", "11"}}), "") << "the mandatory field is missing";
  CallMethod(importer, "RecordFate", 7, 7, "rejected");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "12"}, {"Bez1", "B"}}), "");
  EXPECT_EQ(Import(importer, {{"KundenNummer", "10"}, {"Bez1", "C"}}), "");
  End(importer, 2, 1);
  EXPECT_THAT(Rows(kEvents), ElementsAre("abgewiesen|7|7|1|NULL|NULL", "geändert|9|9|1|10|10",
                                         "neu|5|8|2|10|12", "zurückgehalten|6|6|1|NULL|NULL"));
}

TEST_F(RunLedger, TellsOfRecordsThatWereNotStoredThoughNoneIs) {
  const ObjectPtr importer = Importer();
  Start(importer);
  for (int record = 1; record <= 2500; ++record)
    CallMethod(importer, "RecordFate", record, record, "held back");
  End(importer);
  EXPECT_THAT(Rows("SELECT sum(Anzahl) FROM Importlaufzeilen WHERE Ereignis = 'zurückgehalten'"),
              ElementsAre("2500"));
}

TEST_F(RunLedger, KeepsNothingOfAnImportThatDoesNotTellOfItself) {
  const ObjectPtr importer = Importer();
  ImportMany(importer, 3);
  CallMethod(importer, "RecordFate", 4, 4, "rejected");
  CallMethod(importer, "AfterImport");
  CallMethod(importer, "RunEnds", "finished", 3, 3, 0, 0, 0, 0, 0, "");
  EXPECT_THAT(Rows("SELECT * FROM Importlauf"), IsEmpty());
  EXPECT_THAT(Rows("SELECT * FROM Importlaufzeilen"), IsEmpty());
}

TEST_F(RunLedger, RefusesWordsThatItDoesNotKnow) {
  const ObjectPtr importer = Importer();
  Start(importer);
  EXPECT_ERROR(CallMethod(importer, "RecordFate", 1, 1, "lost"), ErrorNumber::kInvalidProcedureCall);
  EXPECT_ERROR(CallMethod(importer, "RunEnds", "ended", 0, 0, 0, 0, 0, 0, 0, ""),
               ErrorNumber::kInvalidProcedureCall);
}

TEST_F(RunLedger, GetsItsTablesInADatabaseOfAnEarlierVersion) {
  connection->Execute("DROP TABLE Importlauf");
  connection->Execute("DROP TABLE Importlaufzeilen");
  EXPECT_EQ(Restore(connection), "");
  EXPECT_THAT(Rows("SELECT * FROM Importlauf"), IsEmpty());
  EXPECT_THAT(Rows("SELECT * FROM Importlaufzeilen"), IsEmpty());
}

TEST_F(RunLedger, IsNotMadeInADatabaseThatIsNoHosts) {
  const ConnectionPtr other = OpenConnection(folder.File("other.db"));
  EXPECT_EQ(Restore(other), "");
  EXPECT_THAT(other->Tables(), IsEmpty());
}

TEST_F(RunLedger, LeavesARunAloneWhoseProgramLives) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 3);
  Flush();
  const ConnectionPtr other = OpenConnection(file);
  EXPECT_EQ(Restore(other), "");
  EXPECT_EQ(Restore(connection), "") << "nor does its own connection mistake it";
  EXPECT_THAT(States(), ElementsAre("1|läuft"));
}

TEST_F(RunLedger, LetsTwoRunsGoOnSideBySide) {
  const ObjectPtr first = Importer();
  Start(first);
  const ConnectionPtr other = OpenConnection(file);
  const ObjectPtr second = components.CreateObject("ksbimport.importkunden");
  SetProperty(second, "Connection", other);
  Start(second);
  EXPECT_THAT(States(), ElementsAre("1|läuft", "2|läuft"));
  End(first);
  End(second);
  EXPECT_THAT(States(), ElementsAre("1|fertig", "2|fertig"));
}

TEST_F(RunLedger, ShowsTheRunsByTheNamesOfItsColumnsOnEveryDatabase) {
  ImportAll({{{"Bez1", "A"}}, {{"Bez1", "B"}}});
  const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
  SetProperty(ledger, "Connection", connection);
  for (const ObjectPtr& runs :
       {CallMethod(ledger, "Runs").ToObject(), CallMethod(ledger, "LastRuns", 5).ToObject()}) {
    const RecordsetPtr row = ToRecordset(runs);
    ASSERT_FALSE(row->IsEof());
    EXPECT_EQ(row->TextAt(row->RequireColumn("LaufNr")), "1");
    EXPECT_EQ(row->TextAt(row->RequireColumn("Zustand")), "fertig");
    EXPECT_EQ(row->TextAt(row->RequireColumn("Neu")), "2");
    EXPECT_EQ(row->TextAt(row->RequireColumn("Fehler")), "0");
    EXPECT_EQ(row->TextAt(row->RequireColumn("Quellgroesse")), "42");
    EXPECT_TRUE(row->IsNull(row->RequireColumn("GekuerzteFelder")));
  }
}

TEST_F(RunLedger, LeavesOpenHowManyErrorsThereWereWhereTheRunHasNotToldItsEnd) {
  {
    const ObjectPtr importer = Importer();
    Start(importer);
    ImportMany(importer, 3);
  }
  const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
  SetProperty(ledger, "Connection", connection);
  const RecordsetPtr run = ToRecordset(CallMethod(ledger, "Runs"));
  EXPECT_EQ(run->TextAt(run->RequireColumn("Neu")), "3");
  EXPECT_TRUE(run->IsNull(run->RequireColumn("Fehler")));
  EXPECT_TRUE(run->IsNull(run->RequireColumn("Gekuerzt")));
}

TEST_F(RunLedger, MarksARunAsBrokenOffWhoseImporterGoesBeforeItsEnd) {
  {
    const ObjectPtr importer = Importer();
    Start(importer);
    ImportMany(importer, 3);
  }
  EXPECT_THAT(Rows("SELECT Zustand, Neu FROM Importlauf"), ElementsAre("abgebrochen|3"));
}

TEST_F(RunLedger, MarksARunAsBrokenOffWhoseProgramWasKilledWithWhatItHasStored) {
  connection->Close();
  {
    testing::ForkedChild child([&] {
      const ConnectionPtr own = OpenConnection(file);
      const ObjectPtr importer = components.CreateObject("ksbimport.importkunden");
      SetProperty(importer, "Connection", own);
      Start(importer);
      ImportMany(importer, 5);
      CallMethod(importer, "RecordFate", 6, 7, "held back");
      host::GroupedWrites::Of(*own).Flush();
      folder.Write("ready", "");
      pause();
    });
    EXPECT_TRUE(testing::Eventually([&] { return FileExists(folder.File("ready")); }));
  }
  const ConnectionPtr later = OpenConnection(file);
  // A server may take a moment to notice that nobody is there any more.
  std::string told;
  testing::Eventually([&] { return !(told = Restore(later)).empty(); });
  EXPECT_THAT(told,
              AllOf(StartsWith("Der Importlauf 1 vom "), HasSubstr("Gespeichert sind 5 neue und 0 geänderte"),
                    HasSubstr("kestrel-import undo 1")));
  EXPECT_EQ(Restore(later), "") << "told once";
  const RecordsetPtr run =
      later->OpenRecordset("SELECT Zustand, Gelesen, Neu, Zurueckgehalten FROM Importlauf");
  EXPECT_EQ(run->TextAt(0), "abgebrochen");
  EXPECT_EQ(run->TextAt(1), "7");
  EXPECT_EQ(run->TextAt(2), "5");
  EXPECT_EQ(run->TextAt(3), "2");
}

TEST_F(RunLedger, TakesAwayTheLocksThatEndedProgramsHaveLeftAndNoOthers) {
  if (OnPostgres()) GTEST_SKIP() << "a server's database has no folder";
  const std::string left = folder.Write("host.db-lauf17", "");
  const std::string other = folder.Write("host.db-laufzettel", "");
  const ObjectPtr importer = Importer();
  Start(importer);
  EXPECT_EQ(Restore(connection), "");
  EXPECT_FALSE(FileExists(left));
  EXPECT_TRUE(FileExists(other));
  EXPECT_TRUE(FileExists(folder.File("host.db-lauf1"))) << "its program lives";
}

TEST_F(RunLedger, NeverTakesAwayACopyOfTheDatabaseThatIsNamedAfterARun) {
  if (OnPostgres()) GTEST_SKIP() << "a server's database has no folder";
  const std::string before = folder.Write("host.db-lauf1", "Sicherung");
  const std::string other = folder.Write("host.db-lauf17", "Sicherung");
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  EXPECT_EQ(Restore(connection), "");
  EXPECT_THAT(States(), ElementsAre("1|fertig"));
  for (const std::string& copy : {before, other}) EXPECT_EQ(ReadWholeFile(copy), "Sicherung");
}

TEST_F(RunLedger, TakesTheNextNumberWhereSomebodyHoldsTheLockOfItsOwn) {
  const ConnectionPtr other = OpenConnection(file);
  const auto lock = host::RunLock::Acquire(*other, 1);
  ASSERT_TRUE(lock);
  const ObjectPtr importer = Importer();
  Start(importer);
  EXPECT_THAT(States(), ElementsAre("2|läuft"));
}

TEST_F(RunLedger, ThatCannotBeginKeepsRecordsFromBeingStoredUntold) {
  if (OnPostgres()) GTEST_SKIP() << "locks a whole file";
  const ObjectPtr importer = Importer();
  SetProperty(importer, "Connection", OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,05"));
  const ConnectionPtr other = OpenConnection(file);
  other->Begin();
  Start(importer);
  other->Commit();
  EXPECT_THAT(Import(importer, {{"Bez1", "A"}}), HasSubstr("lässt sich nicht aufzeichnen: "));
  EXPECT_THAT(GetProperty(importer, "StopReason").ToText(),
              AllOf(HasSubstr("sperrt die Datenbank"), Not(HasSubstr("Importlauf/Fuehren"))));
  EXPECT_THAT(Rows("SELECT * FROM Kunden"), IsEmpty());
  EXPECT_THAT(States(), IsEmpty());
}

TEST_F(RunLedger, LeavesNoFileBesideTheDatabase) {
  if (OnPostgres()) GTEST_SKIP() << "a server's database has no folder";
  const auto files = [&] { return ListFiles(folder.path()); };
  const ObjectPtr importer = Importer();
  Start(importer);
  const auto while_it_runs = files();
  End(importer);
  EXPECT_EQ(while_it_runs.size(), files().size() + 1);
}

}  // namespace kestrel
