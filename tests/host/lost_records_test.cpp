// Databases that fail in the middle of an import. Driven as a run does: whatever happens, each record handed
// over is stored, or told as lost, once.
#include <filesystem>
#include <mutex>
#include <set>

#include "host/host_fixture.h"
#include "platform/base/coarse_time.h"
#include "platform/base/text.h"
#include "support/eventually.h"

namespace kestrel {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class LostRecords : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (IsSkipped()) return;
    importer = Importer();
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
  }

  void ImportOne() {
    ++handed_over;
    const std::string name = "Firma " + std::to_string(handed_over);
    Value record = CallMethod(importer, "GetNewRecord");
    const RecordsetPtr row = ToRecordset(record);
    row->SetText(row->RequireColumn("Bez1"), name);
    row->SetText(row->RequireColumn("PLZ"), "50667");
    row->SetText(row->RequireColumn("Bemerkung"), std::string(300, 'x'));
    CallMethod(importer, "ImportRecord", ByRef(record));
    Note();
  }
  // At most so many, up to the reason to stop.
  void ImportMany(int count) {
    for (int i = 0; i < count && stop_reason.empty(); ++i) ImportOne();
  }
  void Finish() {
    int errors_at_the_end = 0;
    while (CallMethod(importer, "NextLateError").ToBool()) {
      Note();
      ASSERT_LE(++errors_at_the_end, handed_over + 1);
    }
    CallMethod(importer, "AfterImport");
  }
  // What ErrorCode tells, logged as a run does: into the database that has just failed.
  void Note() {
    if (GetProperty(importer, "ErrorCode").ToInteger() == 0) return;
    const std::string error = GetProperty(importer, "ErrorDescription").ToText();
    errors.push_back(error);
    std::int64_t first = GetProperty(importer, "ErrorFirstRecord").ToInteger();
    std::int64_t last = GetProperty(importer, "ErrorLastRecord").ToInteger();
    if (first == 0) first = last = handed_over;
    for (; first > 0 && first <= last; ++first) EXPECT_TRUE(lost.insert(first).second) << first << ' ' << error;
    stop_reason = GetProperty(importer, "StopReason").ToText();
    Trap(
        [&] {
          if (log == nullptr) {
            ObjectPtr fresh = components.CreateObject("KSHProto.Protokoll");
            Value host(used);
            CallMethod(fresh, "CreateProtokoll", ByRef(host), "t", "u", "LST", "07.03.2024", "e", "f", "g");
            log = fresh;
          }
          CallMethod(log, "AddNewRecord");
          CallMethod(log, "SetField", 10, 0, error);
          CallMethod(log, "UpdateRecord");
        },
        [](const RuntimeError&) {});
  }
  // By a connection of its own, when everything is over.
  std::string Seen(const std::string& sql) {
    return std::string(OpenConnection(file)->OpenRecordset(sql)->TextAt(0));
  }
  void ExpectNothingUntold() {
    EXPECT_EQ(std::stoi(Seen("SELECT count(*) FROM Kunden")) + static_cast<int>(lost.size()), handed_over);
    EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), Seen("SELECT count(*) FROM Adressindex"));
    EXPECT_EQ(Seen("SELECT count(*) FROM Protokollzeilen WHERE ProtokollNr NOT IN (SELECT ProtokollNr FROM "
                   "Protokoll)"),
              "0");
    if (!lost.empty()) {
      EXPECT_LE(*lost.rbegin(), handed_over);
    }
  }
  void EndAllOtherSessions() {
    OpenConnection(file)->OpenRecordset(
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() AND pid <> "
        "pg_backend_pid()");
  }

  ConnectionPtr used = connection;  // of importer and log
  ObjectPtr importer;
  ObjectPtr log;
  int handed_over = 0;
  std::set<std::int64_t> lost;
  std::vector<std::string> errors;
  std::string stop_reason;
};

}  // namespace

TEST_F(LostRecords, AFullDiskStopsTheImportAndTellsExactlyWhatItHeld) {
  if (OnPostgres()) GTEST_SKIP() << "limits an SQLite file";
  ImportMany(100);
  host::GroupedWrites::Of(*connection).Flush();
  for (const int more_pages : {0, 3, 40, 200}) {
    stop_reason.clear();
    const int pages = std::stoi(Rows("PRAGMA page_count")[0]) + more_pages;
    Rows("PRAGMA max_page_count = " + std::to_string(pages));
    ImportMany(100000);
    EXPECT_THAT(stop_reason, HasSubstr("kein Platz mehr")) << more_pages;
  }
  Finish();
  EXPECT_FALSE(lost.empty());
  ExpectNothingUntold();
}

TEST_F(LostRecords, ADatabaseFileThatIsTakenAwayStopsTheImport) {
  if (OnPostgres()) GTEST_SKIP() << "moves an SQLite file";
  ImportMany(100);
  host::GroupedWrites::Of(*connection).Flush();
  ImportMany(50);
  std::filesystem::rename(file, file + ".old");
  host::GroupedWrites::Of(*connection).Flush();
  ImportMany(100000);
  EXPECT_THAT(stop_reason, HasSubstr("gelöscht, verschoben oder ersetzt"));
  Finish();
  EXPECT_THAT(errors.back(), HasSubstr("nicht mehr an ihrem Platz"));
  std::filesystem::rename(file + ".old", file);
  EXPECT_FALSE(lost.empty());
  ExpectNothingUntold();
}

TEST_F(LostRecords, ALogOfAFullDiskIsWrittenOnceThereIsRoom) {
  if (OnPostgres()) GTEST_SKIP() << "limits an SQLite file";
  Rows("PRAGMA max_page_count = 40");
  ImportMany(100000);
  Rows("PRAGMA max_page_count = 100000");
  Finish();
  ExpectNothingUntold();
  EXPECT_EQ(std::stoul(Seen("SELECT count(*) FROM Protokollzeilen")), log == nullptr ? 0 : errors.size());
}

TEST_F(LostRecords, AGroupThatIsRolledBackIsToldByItsRecordsAndTheLogGoesOn) {
  ImportMany(10);
  CallMethod(importer, "NextLateError");
  ImportMany(5);
  connection->Execute("ROLLBACK");
  ImportMany(3);
  Finish();
  EXPECT_THAT(errors, ElementsAre(HasSubstr("5 Datensätze konnten nicht gespeichert werden.")));
  EXPECT_THAT(lost, ElementsAre(11, 12, 13, 14, 15));
  EXPECT_EQ(stop_reason, "");
  ExpectNothingUntold();
  EXPECT_EQ(Seen("SELECT count(*) FROM Protokollzeilen"), "1");
}

TEST_F(LostRecords, RefusedRecordsAreNoPartOfALostGroup) {
  ImportMany(2);
  ++handed_over;
  EXPECT_NE(Import(importer, {{"Ort", "ohne Namen"}}), "");
  lost.insert(handed_over);
  ImportMany(2);
  connection->Execute("ROLLBACK");
  Finish();
  EXPECT_THAT(errors, SizeIs(2));
  EXPECT_THAT(lost, ElementsAre(1, 2, 3, 4, 5));
  ExpectNothingUntold();
}

TEST_F(LostRecords, ThreeGroupsLostInARowAreAReasonToStop) {
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(stop_reason, "") << i;
    ImportMany(5);
    connection->Execute("ROLLBACK");
    // Whatever ends the group.
    CallMethod(importer, "NextLateError");
    Note();
  }
  EXPECT_THAT(stop_reason, HasSubstr("nacheinander"));
  Finish();
  ExpectNothingUntold();
}

TEST_F(LostRecords, ATableThatVanishesIsToldForEachRecord) {
  ImportMany(10);
  CallMethod(importer, "NextLateError");
  connection->Execute("DROP TABLE Adressindex");
  ImportMany(300);
  Finish();
  EXPECT_THAT(lost, SizeIs(300));
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), "10");
  EXPECT_EQ(Seen("SELECT count(*) FROM Protokollzeilen"), std::to_string(errors.size()));
}

TEST_F(LostRecords, AConnectionThatIsClosedKeepsWhatWasStoredAndStopsTheImport) {
  ImportMany(10);
  connection->Close();
  ImportMany(10);
  EXPECT_THAT(stop_reason, HasSubstr("geschlossen"));
  Finish();
  EXPECT_THAT(errors, SizeIs(1));
  ExpectNothingUntold();
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), "10");
}

TEST_F(LostRecords, AConnectionThatBreaksIsOpenedAgainAndItsGroupStoredAgain) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  for (const int before : {200, 20, 1}) {
    ImportMany(before);
    EndAllOtherSessions();
    ImportMany(400);
  }
  Finish();
  EXPECT_THAT(errors, IsEmpty());
  ExpectNothingUntold();
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), "1421");
  EXPECT_EQ(Seen("SELECT count(*) FROM Adressindex"), "1421");
}

TEST_F(LostRecords, AConnectionThatBreaksBehindTheLastRecordIsOpenedAgain) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  ImportMany(1);
  CallMethod(importer, "NextLateError");
  ImportMany(300);
  EndAllOtherSessions();
  Finish();
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), "301");
}

TEST_F(LostRecords, AConnectionThatBreaksBeforeTheSettingsAreReadAgainLosesNoRecordOnItsWay) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  // Nobody else is to find out first.
  std::unique_lock no_timer(connection->CallMutex());
  ImportMany(100);
  ASSERT_TRUE(host::GroupedWrites::Of(*connection).IsOpen());
  const auto read_at = CoarseNow();
  EXPECT_TRUE(testing::Eventually([&] { return CoarseNow() - read_at > host::Settings::kGoodFor; }));
  EndAllOtherSessions();
  ImportOne();
  no_timer.unlock();
  ImportMany(100);
  Finish();
  EXPECT_THAT(errors, IsEmpty());
  ExpectNothingUntold();
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), "201");
}

TEST_F(LostRecords, AServerThatTakesNobodyAnyMoreStopsTheImportAndTellsExactlyWhatItHeld) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  used = OpenConnection(file + ";LockWait=0,3");
  SetProperty(importer, "Connection", used);
  ImportMany(20);
  CallMethod(importer, "NextLateError");
  ImportMany(200);
  std::unique_lock no_timer(used->CallMutex());
  // On a slow machine a group has ended meanwhile.
  const std::string stands = Seen("SELECT count(*) FROM Kunden");
  const std::string name(connection->OpenRecordset("SELECT current_database()")->TextAt(0));
  const ConnectionPtr elsewhere = OpenConnection(ReplaceAll(file, "dbname=" + name, "dbname=postgres"));
  elsewhere->Execute("ALTER DATABASE " + name + " ALLOW_CONNECTIONS false");
  elsewhere->OpenRecordset("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + name +
                           "'");
  no_timer.unlock();
  ImportMany(400);
  Finish();
  elsewhere->Execute("ALTER DATABASE " + name + " ALLOW_CONNECTIONS true");
  EXPECT_THAT(stop_reason, HasSubstr("Verbindung"));
  EXPECT_THAT(errors, Contains(HasSubstr("ließ sich nicht wiederherstellen")));
  ExpectNothingUntold();
  EXPECT_EQ(Seen("SELECT count(*) FROM Kunden"), stands);
}

TEST_F(LostRecords, ALockThatOutlastsItsTimeStopsTheImport) {
  if (OnPostgres()) GTEST_SKIP() << "locks an SQLite file";
  ImportMany(10);
  CallMethod(importer, "AfterImport");
  const ConnectionPtr hasty = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,05");
  SetProperty(importer, "Connection", hasty);
  connection->Begin();
  ImportMany(10);
  EXPECT_THAT(stop_reason, HasSubstr("sperrt die Datenbank"));
  EXPECT_THAT(lost, ElementsAre(11));
  connection->Commit();
  Finish();
  ExpectNothingUntold();
}

}  // namespace kestrel
