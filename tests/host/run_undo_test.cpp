// Taking back what an import did.
#include "ledger/run_undo.h"

#include <algorithm>
#include <random>
#include <set>

#include "host/ledger_fixture.h"
#include "kestrel/open_connection.h"
#include "ledger/stored_row.h"
#include "platform/base/file.h"
#include "support/eventually.h"
#include "support/forked_child.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class RunUndo : public testing::LedgerFixture {
 protected:
  // What was left alone: record, number, field, before, imported, now.
  std::vector<std::string> Undo(std::int64_t run, bool is_trial = false, bool takes_changes = false) {
    const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
    SetProperty(ledger, "Connection", connection);
    CallMethod(ledger, "StartUndo", run, is_trial, takes_changes);
    while (CallMethod(ledger, "NextUndo").ToBool()) {
    }
    removed = GetProperty(ledger, "Removed").ToInteger();
    restored = GetProperty(ledger, "Restored").ToInteger();
    std::vector<std::string> left;
    for (const RecordsetPtr rows = ToRecordset(CallMethod(ledger, "LeftAlone")); !rows->IsEof();
         rows->MoveNext()) {
      std::string row;
      for (std::size_t i = 0; i < rows->ColumnCount(); ++i)
        row += (i == 0 ? "" : "|") + std::string(rows->TextAt(i));
      left.push_back(row);
    }
    return left;
  }
  // Everything that an import changes, byte by byte and with the kinds of the values.
  std::vector<std::string> Content() {
    std::vector<std::string> content;
    for (const char* table : {"Kunden", "Adressindex"}) {
      std::string columns;
      for (const std::string& name : connection->ColumnNames(table)) {
        columns += (columns.empty() ? "" : ", ") + (OnPostgres() ? name + "::text" : "quote(" + name + ")");
      }
      for (std::string& row : Rows(std::string("SELECT ") + columns + " FROM " + table + " ORDER BY 1, 2")) {
        content.push_back(std::move(row));
      }
    }
    std::sort(content.begin(), content.end());
    return content;
  }
  void KeepValuesOf(const char* addresses) {
    host::Settings::Of(*connection).Set("Importlauf", "Werte", addresses);
  }

  std::int64_t removed = 0;
  std::int64_t restored = 0;
};

}  // namespace

TEST_F(RunUndo, DeletesNewAddressesAndPutsBackWhatWasChanged) {
  ImportAll({{{"KundenNummer", "7"},
              {"Bez1", "Alt"},
              {"PLZ", "50667"},
              {"Umsatz", "0,1"},
              {"KundeSeit", "07.03.2024"}}});
  const std::vector<std::string> before = Content();
  ImportAll({{{"KundenNummer", "7"},
              {"Bez1", "Neu"},
              {"Umsatz", "2,5"},
              {"KundeSeit", "08.03.2024"},
              {"Mitarbeiter", "3"}},
             {{"KundenNummer", "9"}, {"Bez1", "Ganz neu"}, {"PLZ", "04109"}}});
  EXPECT_NE(Content(), before);
  EXPECT_THAT(Undo(2), IsEmpty());
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(removed, 1);
  EXPECT_EQ(restored, 1);
  EXPECT_THAT(States(), ElementsAre("1|fertig", "2|zurückgenommen"));
}

TEST_F(RunUndo, FollowsAnAddressThatTheSameRunMadeAndThenChanged) {
  const std::vector<std::string> before = Content();
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Eins"}},
             {{"KundenNummer", "7"}, {"Bez1", "Zwei"}},
             {{"KundenNummer", "7"}, {"Bez1", "Drei"}}});
  EXPECT_THAT(Undo(1, true), IsEmpty()) << "nor does a trial take it for a change of somebody else's";
  EXPECT_THAT(Undo(1), IsEmpty());
  EXPECT_EQ(Content(), before);
}

TEST_F(RunUndo, LeavesAloneWhatSomebodyChangedSinceAndTellsIt) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Köln"}}});
  ImportAll(
      {{{"KundenNummer", "7"}, {"Bez1", "Neu"}, {"Ort", "Bonn"}}, {{"KundenNummer", "8"}, {"Bez1", "Acht"}}});
  connection->Execute("UPDATE Kunden SET Ort = 'Ulm' WHERE KundenNummer = 7");
  connection->Execute("UPDATE Kunden SET Bez2 = 'von Hand' WHERE KundenNummer = 8");
  EXPECT_THAT(Undo(2), ElementsAre("1|7|Ort|Köln|Bonn|Ulm", "2|8|Bez2|||von Hand"));
  EXPECT_THAT(Rows("SELECT KundenNummer, Bez1, Ort, Bez2 FROM Kunden ORDER BY 1"),
              ElementsAre("7|Alt|Ulm|NULL", "8|Acht|NULL|von Hand"));
}

TEST_F(RunUndo, IsAskedForByTheFirstRecordsOfALongRun) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 10);
  CallMethod(importer, "RecordFate", 11, 11, "rejected");
  ImportMany(importer, 2500);
  // Lost, and told of late.
  CallMethod(importer, "RecordFate", 3, 3, "rejected");
  CallMethod(importer, "RecordFate", 2512, 2513, "held back");
  End(importer, 2510);
  const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
  SetProperty(ledger, "Connection", connection);
  const auto rows = [&](const RecordsetPtr& set) {
    std::vector<std::string> texts;
    for (; !set->IsEof(); set->MoveNext()) {
      texts.push_back(std::string(set->TextAt(0)) + "-" + std::string(set->TextAt(1)) + " " +
                      std::string(set->TextAt(2)));
    }
    return texts;
  };
  const auto first = [&](int most) { return rows(ToRecordset(CallMethod(ledger, "Records", 1, most))); };
  EXPECT_THAT(
      rows(ToRecordset(CallMethod(ledger, "Records", 1))),
      ElementsAre("1-10 neu", "3-3 abgewiesen", "11-11 abgewiesen", "12-2511 neu", "2512-2513 zurückgehalten"));
  EXPECT_THAT(first(3), ElementsAre("1-10 neu", "3-3 abgewiesen", "11-11 abgewiesen"));
  EXPECT_THAT(first(0), IsEmpty());
  EXPECT_THAT(first(9), SizeIs(5));
}

TEST_F(RunUndo, HidesNoRecordOfARunOfWhichSomethingWasLeftAlone) {
  const auto told = [&] {
    const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
    SetProperty(ledger, "Connection", connection);
    std::set<std::int64_t> records;
    for (const RecordsetPtr row = ToRecordset(CallMethod(ledger, "Records", 2)); !row->IsEof();
         row->MoveNext()) {
      for (auto record = row->ValueAt(0).ToInteger(); record <= row->ValueAt(1).ToInteger(); ++record)
        records.insert(record);
    }
    return records;
  };
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "A"}}, {{"KundenNummer", "8"}, {"Bez1", "B"}}});
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "C"}},
             {{"KundenNummer", "8"}, {"Bez1", "D"}},
             {{"KundenNummer", "9"}, {"Bez1", "E"}},
             {{"KundenNummer", "10"}, {"Bez1", "F"}},
             {{"KundenNummer", "11"}, {"Bez1", "G"}}});
  EXPECT_THAT(told(), ElementsAre(1, 2, 3, 4, 5));
  connection->Execute("UPDATE Kunden SET Bez1 = 'von Hand' WHERE KundenNummer IN (8, 10)");
  EXPECT_THAT(Undo(2), SizeIs(2));
  EXPECT_THAT(told(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(RunUndo, TellsWhatWasImportedIntoANewAddressWhereItsValuesAreKept) {
  KeepValuesOf("1");
  ImportAll({{{"KundenNummer", "8"}, {"Bez1", "Acht"}, {"Ort", "Bonn"}},
             {{"KundenNummer", "9"}, {"Bez1", "Neun"}, {"Ort", "Bonn"}}});
  connection->Execute("UPDATE Kunden SET Ort = 'Ulm'");
  EXPECT_THAT(Undo(1), ElementsAre("1|8|Ort||Bonn|Ulm", "2|9|Ort||(nicht aufbewahrt)|Ulm"));
}

TEST_F(RunUndo, TakesBackChangesOfOthersWhereThatIsWanted) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Köln"}}});
  const std::vector<std::string> before = Content();
  ImportAll(
      {{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Bonn"}}, {{"KundenNummer", "8"}, {"Bez1", "Acht"}}});
  connection->Execute("UPDATE Kunden SET Ort = 'Ulm' WHERE KundenNummer = 7");
  connection->Execute("UPDATE Kunden SET Ort = 'Ulm' WHERE KundenNummer = 8");
  EXPECT_THAT(Undo(2), SizeIs(2));
  EXPECT_THAT(Undo(2, false, true), IsEmpty()) << "also when the run is undone already";
  EXPECT_EQ(Content(), before);
}

TEST_F(RunUndo, OfADatabaseThatMayNotBeWrittenSaysSo) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  connection->Execute("SET default_transaction_read_only = on");
  for (const bool is_trial : {true, false}) {
    EXPECT_ERROR_TEXT(Undo(1, is_trial), ErrorNumber::kInvalidProcedureCall,
                      HasSubstr("kann nicht zurückgenommen werden. Die Datenbank ist schreibgeschützt"));
  }
}

TEST_F(RunUndo, ChangesNothingInATrial) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  const std::vector<std::string> before = Content();
  EXPECT_THAT(Undo(1, true), IsEmpty());
  EXPECT_EQ(removed, 1);
  EXPECT_EQ(Content(), before);
  EXPECT_THAT(States(), ElementsAre("1|fertig"));
}

TEST_F(RunUndo, ChangesNothingInATrialWhoseTransactionSomebodyEnds) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}, {{"KundenNummer", "7"}, {"Bez1", "Neu"}}});
  const std::vector<std::string> before = Content();
  host::RunUndo trial(*connection, 1, {.is_trial = true});
  ASSERT_TRUE(trial.Next());
  connection->Rollback();
  EXPECT_ERROR(trial.Next(), ErrorNumber::kDatabase);
  EXPECT_EQ(Content(), before);
  EXPECT_THAT(States(), ElementsAre("1|fertig"));
}

TEST_F(RunUndo, LeavesAnAddressToTheLaterRunThatMadeItAgain) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  connection->Execute("DELETE FROM Kunden");
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  EXPECT_THAT(Undo(1), IsEmpty());
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden"), ElementsAre("7"));
  EXPECT_THAT(Undo(2), IsEmpty());
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden"), IsEmpty());
}

TEST_F(RunUndo, PutsNothingBackIntoAnAddressThatALaterRunMadeUnderTheNumber) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Köln"}}});
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Bonn"}}});
  connection->Execute("DELETE FROM Kunden");
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"Ort", "Bonn"}}});
  EXPECT_THAT(Undo(2), ElementsAre("1|7|Ort|Köln|Bonn|(gelöscht)"));
  EXPECT_THAT(Rows("SELECT Ort FROM Kunden"), ElementsAre("Bonn"));
}

TEST_F(RunUndo, TellsOfAnAddressThatWasDeletedSince) {
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Neu"}}});
  connection->Execute("DELETE FROM Kunden");
  EXPECT_THAT(Undo(2), ElementsAre("1|7|Bez1|Alt|Neu|(gelöscht)"));
  EXPECT_THAT(Undo(1), IsEmpty());
}

TEST_F(RunUndo, TakesAwayTheKeysThatAnAddressDeletedSinceHasLeft) {
  const std::vector<std::string> before = Content();
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}, {"PLZ", "50667"}, {"Ort", "Köln"}}});
  connection->Execute("DELETE FROM Kunden");
  EXPECT_THAT(Undo(1), IsEmpty());
  EXPECT_EQ(Content(), before);
}

TEST_F(RunUndo, LetsNobodyChangeAnAddressBetweenALookAtItAndItsEnd) {
  if (!OnPostgres()) GTEST_SKIP() << "a transaction of SQLite that writes is alone anyway";
  ImportAll({{{"KundenNummer", "7"}, {"Bez1", "Alt"}}});
  const host::Destination destination = host::LoadDestination(*connection, "ksbimport.importkunden");
  const ConnectionPtr other = OpenConnection(file);
  constexpr const char* kTake = "SELECT 1 FROM Kunden WHERE KundenNummer = 7 FOR UPDATE NOWAIT";
  connection->Begin();
  host::StoredRow row(*connection, destination);
  ASSERT_TRUE(row.Read(7));
  EXPECT_THROW(other->Execute(kTake), RuntimeError);
  connection->Rollback();
  EXPECT_NO_THROW(other->Execute(kTake));
}

TEST_F(RunUndo, GoesOnWhereAnotherOneEnded) {
  const std::vector<std::string> before = Content();
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 2500);
  End(importer, 2500);
  {
    host::RunUndo undo(*connection, 1, {});
    ASSERT_TRUE(undo.Next());
    EXPECT_GT(undo.removed(), 0);
    EXPECT_LE(undo.removed(), 1000) << "no transaction holds more";
  }
  EXPECT_THAT(States(), ElementsAre("1|in Rücknahme"));
  EXPECT_NE(Content(), before);
  EXPECT_THAT(Undo(1), IsEmpty());
  EXPECT_LT(removed, 2500);
  EXPECT_EQ(Content(), before);
}

TEST_F(RunUndo, GoesOnWhereAKilledOneEnded) {
  const ObjectPtr importer = Importer();
  Start(importer);
  ImportMany(importer, 2500);
  End(importer, 2500);
  connection->Close();
  {
    testing::ForkedChild child([&] {
      const ConnectionPtr own = OpenConnection(file);
      host::RunUndo undo(*own, 1, {});
      undo.Next();
      folder.Write("ready", "");
      pause();
    });
    ASSERT_TRUE(testing::Eventually([&] { return FileExists(folder.File("ready")); }));
  }
  const ConnectionPtr later = OpenConnection(file);
  EXPECT_EQ(later->OpenRecordset("SELECT Zustand FROM Importlauf")->TextAt(0), "in Rücknahme");
  // A server may take a moment to notice that nobody is there any more.
  ASSERT_TRUE(testing::Eventually([&] { return host::RunLock::Acquire(*later, 1).has_value(); }));
  host::RunUndo rest(*later, 1, {});
  while (rest.Next()) {
  }
  EXPECT_LT(rest.removed(), 2500);
  EXPECT_GT(rest.removed(), 0);
  EXPECT_TRUE(later->OpenRecordset("SELECT * FROM Kunden")->IsEof());
  EXPECT_TRUE(later->OpenRecordset("SELECT * FROM Adressindex")->IsEof());
  EXPECT_EQ(later->OpenRecordset("SELECT Zustand FROM Importlauf")->TextAt(0), "zurückgenommen");
}

TEST_F(RunUndo, LeavesRoomForTheSameImport) {
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "Alt"}, {"PLZ", "50667"}}});
  const std::vector<std::string> imported = Content();
  Undo(1);
  ImportAll({{{"KundenNummer", "1"}, {"Bez1", "Alt"}, {"PLZ", "50667"}}});
  EXPECT_EQ(Content(), imported);
}

TEST_F(RunUndo, RefusesARunThatThereIsNotOrThatIsStillRunning) {
  EXPECT_ERROR_TEXT(Undo(5), ErrorNumber::kInvalidProcedureCall, HasSubstr("5 ist nicht verzeichnet"));
  const ObjectPtr importer = Importer();
  Start(importer);
  EXPECT_ERROR_TEXT(Undo(1), ErrorNumber::kInvalidProcedureCall, HasSubstr("läuft noch"));
}

TEST_F(RunUndo, RefusesARunWhoseDestinationHasChanged) {
  ImportAll({{{"Bez1", "Alt"}}});
  connection->Execute(
      "DELETE FROM Importfelder WHERE FieldName = 'Bemerkung' AND ProgID = 'ksbimport.importkunden'");
  EXPECT_ERROR_TEXT(Undo(1), ErrorNumber::kInvalidProcedureCall, HasSubstr("Importfelder"));
}

// Whatever was imported before: a run that nobody touched is taken back to the byte; and one that somebody touched
// keeps what that person did, and nothing else of the run.
TEST_F(RunUndo, PutsBackTheTablesByteByByte) {
  std::mt19937 random(11);
  const auto pick = [&](std::vector<const char*> of) { return of[random() % of.size()]; };
  for (int round = 0; round < 25; ++round) {
    KeepValuesOf(pick({"0", "5", "5000"}));
    const std::vector<std::string> before = Content();
    const ObjectPtr importer = OverwritingImporter();
    Start(importer);
    for (auto i = random() % 60; i > 0; --i) {
      const std::string number = random() % 3 == 0 ? "" : std::to_string(random() % 40 + 1);
      Import(importer, {{"KundenNummer", number.c_str()},
                        {"Bez1", pick({"A", "Möbel-Haus Groß", "D'Angelo", "C"})},
                        {"PLZ", pick({"", "50667", "04109"})},
                        {"Umsatz", pick({"", "0,1", "1e300", "12"})},
                        {"Mitarbeiter", pick({"", "5", "-1", "70000"})},
                        {"KundeSeit", pick({"", "07.03.2024", "20240308"})},
                        {"Bemerkung", pick({"", "zwei\nZeilen", "#r1;n2;"})}});
    }
    End(importer);
    const std::int64_t run = round + 1;
    if (round % 3 == 1) {
      const std::vector<std::string> numbers = Rows("SELECT KundenNummer FROM Kunden ORDER BY 1");
      if (!numbers.empty()) {
        const std::string where = " WHERE KundenNummer = " + numbers[random() % numbers.size()];
        connection->Execute("UPDATE Kunden SET Telefon = 'von Hand " + std::to_string(round) + "'" + where);
        const std::vector<std::string> edited = Rows("SELECT Telefon FROM Kunden" + where);
        Undo(run);
        EXPECT_EQ(Rows("SELECT Telefon FROM Kunden" + where), edited);
        continue;
      }
    }
    if (round % 3 == 0) {
      EXPECT_THAT(Undo(run), IsEmpty());
      ASSERT_EQ(Content(), before) << "round " << round;
    }
  }
}

}  // namespace kestrel
