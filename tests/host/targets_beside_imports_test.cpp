// An import into a destination of a user's own that somebody else removes or changes meanwhile: what is stored is stored as
// the destination was, and nothing comes behind it.
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "host/calling_view.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "kestrel/run_result.h"
#include "platform/base/text.h"
#include "platform/dialogs/recording_user_interface.h"
#include "storage/group_lock.h"
#include "support/scripted_watch.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kRecords = 400;
constexpr int kWhere = 100;

enum class Check { kOff, kOn };

class TargetsBesideImports : public HostFixture, public ::testing::WithParamInterface<Check> {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (IsSkipped()) return;
    for (const char* table : {"fremd", "anders"}) {
      other->Execute("CREATE TABLE " + std::string(table) +
                     " (nr integer PRIMARY KEY, name varchar(40), strasse varchar(40), plz varchar(10), "
                     "ort varchar(40))");
    }
    SetProperty(targets, "Connection", other);
    CallMethod(targets, "SetKeys", "", "", "", "", GetParam() == Check::kOff);
    CallMethod(targets, "Add", "ziel", "fremd");
    type = Rows("SELECT Adressart FROM Importziele WHERE ProgID = 'ksbimport.ziel'").at(0);
  }

  // With `beside` called in the middle, by another thread: it may have to wait for what the import has just stored, which
  // is committed when its time is over.
  RunResult ImportLines(const std::function<void()>& beside) {
    std::string lines = "Nr;Name;Strasse;PLZ;Ort\r\n";
    for (int i = 1; i <= kRecords; ++i) {
      const std::string n = std::to_string(i);
      const std::string town(1, static_cast<char>('a' + i % 26));
      lines +=
          n + ";Firma " + town + n + ";Weg " + n + ";" + std::to_string(10000 + i) + ";Ort" + town + "\r\n";
    }
    folder.Write("Quelle.txt", lines);
    folder.Write(
        "Ziel.IMP",
        ReplaceAll("[Common]\nDescription=Ziel\nApplication=5\nImportClass=ksbimport.ziel\n"
                   "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nFileFormat=ANSI\n"
                   "Delimiter=;\nTextRecognition=\"\n[CfgSettings]\nDublettenPruefen=" +
                       std::string(GetParam() == Check::kOn ? "1" : "0") + "\nAddresstypeCode=" + type +
                       "\nDublettenKey1=1\nDublettenKey2=1\nDublettenKey3=1\n[FieldAssignments]\n"
                       "nr=FIELD:Nr\nname=FIELD:Name\nstrasse=FIELD:Strasse\nplz=FIELD:PLZ\n"
                       "ort=FIELD:Ort\n",
                   "\n", "\r\n"));
    CallingView view([&](int record) {
      if (record == kWhere) std::jthread(beside).join();
    });
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Ziel.IMP"), .host_connection = connection, .user = "4711"});
    return job.Run(view);
  }
  // What was stored before stands, as the ledger says, and nothing else.
  void ExpectStoppedAfterwards(const RunResult& result, const std::string& reason) {
    EXPECT_EQ(result.stored, kWhere - 1);
    EXPECT_EQ(Rows("SELECT count(*) FROM fremd").at(0), std::to_string(kWhere - 1));
    EXPECT_EQ(result.stored + result.duplicates + result.rejected, result.records);
    EXPECT_THAT(result.stop_reason, HasSubstr(reason));
    EXPECT_EQ(result.next_record, kWhere);
    EXPECT_THAT(Rows("SELECT Neu FROM Importlauf"), ElementsAre(std::to_string(kWhere - 1)));
    EXPECT_THAT(Rows("SELECT sum(Anzahl) FROM Importlaufzeilen WHERE Ereignis = 'neu'"),
                ElementsAre(std::to_string(kWhere - 1)));
  }

  // `change` waits for the group of somebody who removes the destination, whose type is another one's then.
  void ExpectGoneWhileWaiting(const std::function<void()>& change) {
    connection->Begin();
    host::TakeGroupLock(*connection);
    connection->Execute("UPDATE Importziele SET ProgID = 'ksbimport.neu' WHERE ProgID = 'ksbimport.ziel'");
    if (GetParam() == Check::kOn) {
      connection->Execute("INSERT INTO Adressindex VALUES (6400 + " + type + ", " + type +
                          ", '100', 'a', 'b', 'c')");
    }
    bool is_committed = false;
    ScriptedWatch watch([&](int) {
      if (!std::exchange(is_committed, true)) connection->Commit();
      return true;
    });
    other->WatchWaits(&watch);
    EXPECT_ERROR_TEXT(change(), ErrorNumber::kInvalidProcedureCall, HasSubstr("'ziel' gibt es hier nicht"));
    other->WatchWaits(nullptr);
    EXPECT_TRUE(is_committed);
    EXPECT_THAT(
        Rows("SELECT ProgID FROM Importziele WHERE Adressart = " + type + " OR ProgID = 'ksbimport.ziel'"),
        ElementsAre("ksbimport.neu"));
    EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre(GetParam() == Check::kOn ? "1" : "0"));
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  const ConnectionPtr other = OpenConnection(file);
  const ObjectPtr targets = components.CreateObject("kestrelhost.Targets");
  std::string type;
};

TEST_P(TargetsBesideImports, ARemovalWaitsForWhatIsBeingStoredAndEndsTheImport) {
  const RunResult result = ImportLines([this] { CallMethod(targets, "Remove", "ziel", false); });
  ExpectStoppedAfterwards(result, "Importziel 'ziel' wurde entfernt");
  EXPECT_THAT(Rows("SELECT * FROM Adressindex"), IsEmpty()) << "a destination that comes later gets its type";
}

TEST_P(TargetsBesideImports, AChangeToAnotherTableEndsTheImport) {
  const RunResult result = ImportLines([this] { CallMethod(targets, "Edit", "ziel", "anders"); });
  ExpectStoppedAfterwards(result, "Importziel 'ziel' wurde geändert");
  EXPECT_THAT(Rows("SELECT * FROM anders"), IsEmpty());
}

TEST_P(TargetsBesideImports, AChangeThatChangesNothingLetsItGoOn) {
  const RunResult result = ImportLines([this] { CallMethod(targets, "Edit", "ziel", "fremd"); });
  EXPECT_EQ(result.stored, kRecords) << result.stop_reason;
}

TEST_P(TargetsBesideImports, TheLogsOfAnImportThatIsAtWorkAreNotRemovedWithItsDestination) {
  const RunResult result = ImportLines([this] {
    EXPECT_ERROR_TEXT(CallMethod(targets, "Remove", "ziel", true), ErrorNumber::kInvalidProcedureCall,
                      HasSubstr("Der Importlauf 1 läuft noch"));
  });
  EXPECT_EQ(result.stored, kRecords) << result.stop_reason;
  CallMethod(targets, "Remove", "ziel", true);
  EXPECT_THAT(Rows("SELECT LaufNr FROM Importlauf"), IsEmpty());
}

TEST_P(TargetsBesideImports, ARemovalThatWaitedKeepsTheImportsWhereOneHasBegunMeanwhile) {
  connection->Begin();
  host::TakeGroupLock(*connection);
  const ConnectionPtr clerk = OpenConnection(file);
  const ObjectPtr importer = components.CreateObject("ksbimport.ziel");
  bool has_begun = false;
  ScriptedWatch watch([&](int) {
    if (std::exchange(has_begun, true)) return true;
    // SQLite lets one write, a server goes on with the removal.
    if (!OnPostgres()) connection->Commit();
    SetProperty(importer, "Connection", clerk);
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    CallMethod(importer, "RunStarts", "Ziel.IMP", "", "quelle.txt", std::int64_t{1}, "");
    // Which is when the run is begun.
    CallMethod(importer, "RecordFate", 1, 1, "rejected");
    host::GroupedWrites::Of(*clerk).Flush();
    if (OnPostgres()) connection->Commit();
    return true;
  });
  other->WatchWaits(&watch);
  EXPECT_ERROR_TEXT(CallMethod(targets, "Remove", "ziel", true), ErrorNumber::kInvalidProcedureCall,
                    HasSubstr("Der Importlauf 1 läuft noch"));
  other->WatchWaits(nullptr);
  EXPECT_TRUE(has_begun);
  EXPECT_THAT(Rows("SELECT LaufNr FROM Importlauf"), ElementsAre("1"));
  EXPECT_THAT(Rows("SELECT ProgID FROM Importziele WHERE ProgID = 'ksbimport.ziel'"),
              ElementsAre("ksbimport.ziel"));
}

TEST_P(TargetsBesideImports, ARepairOfItsKeysLeavesNoneOfARemovedDestination) {
  if (GetParam() == Check::kOff) GTEST_SKIP() << "it has no keys";
  other->Execute("INSERT INTO fremd VALUES (1, 'Meier', 'Weg 1', '50667', 'Köln')");
  CallMethod(targets, "StartIndex", "ziel", true);
  const ObjectPtr elsewhere = components.CreateObject("kestrelhost.Targets");
  SetProperty(elsewhere, "Connection", connection);
  CallMethod(elsewhere, "Remove", "ziel", false);
  EXPECT_ERROR_TEXT(CallMethod(targets, "NextIndex"), ErrorNumber::kDatabase,
                    HasSubstr("Importziel 'ziel' wurde entfernt"));
  EXPECT_THAT(Rows("SELECT * FROM Adressindex"), IsEmpty());
}

TEST_P(TargetsBesideImports, AChangeThatWaitsForItsRemovalBringsItNotBack) {
  ExpectGoneWhileWaiting([this] { CallMethod(targets, "Edit", "ziel", "anders"); });
}

TEST_P(TargetsBesideImports, ARemovalThatWaitsForAnotherOneRemovesNothingElse) {
  ExpectGoneWhileWaiting([this] { CallMethod(targets, "Remove", "ziel", false); });
}

TEST_P(TargetsBesideImports, WithoutKeysItLeavesNoneInTheIndex) {
  other->Execute("INSERT INTO fremd VALUES (1, 'Meier', 'Weg 1', '50667', 'Köln')");
  CallMethod(targets, "StartIndex", "ziel", true);
  while (CallMethod(targets, "NextIndex").ToBool()) {
  }
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre(GetParam() == Check::kOn ? "1" : "0"));
  CallMethod(targets, "SetKeys", "", "", "", "", true);
  CallMethod(targets, "Edit", "ziel", "fremd");
  EXPECT_THAT(Rows("SELECT * FROM Adressindex"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, TargetsBesideImports, ::testing::Values(Check::kOff, Check::kOn),
                         [](const auto& info) { return info.param == Check::kOn ? "Checked" : "Unchecked"; });

}  // namespace
}  // namespace kestrel::testing
