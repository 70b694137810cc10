// Whole imports whose records get their numbers from the database, while a program that knows nothing of imports inserts
// addresses by plain statements: whatever numbers it takes, each record is stored once, and an undo takes back no other.
#include <gmock/gmock.h>

#include <functional>
#include <mutex>
#include <thread>
#include <utility>

#include "host/calling_view.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"
#include "schema/number_sequence.h"
#include "storage/grouped_writes.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kRecords = 3000;
constexpr const char* kInsertBehindTheGreatest =
    "INSERT INTO Kunden (KundenNummer, Bez1) SELECT coalesce(max(KundenNummer), 0) + 1, 'fremd' FROM Kunden";

class ForeignInserts : public testing::HostFixture {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    folder.Write("Kunden.IMP",
                 "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
                 "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
                 "TextRecognition=\"\n[FieldAssignments]\nBez1=FIELD:Name\n");
    std::string source = "Name\r\n";
    for (int i = 1; i <= kRecords; ++i) source += "Firma " + std::to_string(i) + "\r\n";
    folder.Write("Quelle.txt", source);
  }

  // Calls somebody at every hundredth record, while no group is open.
  testing::CallingView Between(std::function<void()> call) {
    return testing::CallingView([this, call = std::move(call)](int record) {
      if (record % 100 != 0) return;
      const std::lock_guard no_timer(connection->CallMutex());
      host::GroupedWrites::Of(*connection).Flush();
      call();
    });
  }
  void ExpectEachRecordOnce(testing::CallingView view) {
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
    const RunResult& result = job.Run(view);
    EXPECT_EQ(result.errors, 0);
    EXPECT_EQ(result.stored, kRecords);
    EXPECT_THAT(Rows("SELECT Spalte0 FROM Protokollzeilen"), IsEmpty());
    EXPECT_THAT(Rows("SELECT count(*), count(DISTINCT Bez1) FROM Kunden WHERE Bez1 LIKE 'Firma %'"),
                ElementsAre("3000|3000"));
    EXPECT_THAT(Rows("SELECT Neu, Zustand FROM Importlauf"), ElementsAre("3000|fertig"));
  }
  // Those of the other program, and nothing else.
  void ExpectUndoLeaves(int foreign) {
    const ObjectPtr ledger = components.CreateObject("kestrelhost.RunLedger");
    SetProperty(ledger, "Connection", connection);
    CallMethod(ledger, "StartUndo", 1, false, false);
    while (CallMethod(ledger, "NextUndo").ToBool()) {
    }
    EXPECT_EQ(GetProperty(ledger, "Removed").ToInteger(), kRecords);
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(std::to_string(foreign)));
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden WHERE Bez1 = 'fremd'"), ElementsAre(std::to_string(foreign)));
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
};

TEST_F(ForeignInserts, OfTheNumbersThatComeNextTakeThemFromTheImportWhichGoesOnBehindThem) {
  const ConnectionPtr other = OpenConnection(file);
  int inserted = 0;
  ExpectEachRecordOnce(Between([&] {
    for (int i = 0; i < 3; ++i) inserted += static_cast<int>(other->Execute(kInsertBehindTheGreatest));
  }));
  EXPECT_EQ(inserted, 3 * kRecords / 100);
  ExpectUndoLeaves(inserted);
}

TEST_F(ForeignInserts, AtAnyMomentAreAllStoredAndSoIsEachRecord) {
  int inserted = 0;
  std::jthread program([&](const std::stop_token& stop) {
    const ConnectionPtr other = OpenConnection(file);
    while (!stop.stop_requested()) {
      // It tries again itself where the number went to the import.
      Trap([&] { inserted += static_cast<int>(other->Execute(kInsertBehindTheGreatest)); },
           [](const RuntimeError&) {});
    }
  });
  ExpectEachRecordOnce(testing::CallingView([](int) {}));
  program.request_stop();
  program.join();
  EXPECT_GT(inserted, 0);
  ExpectUndoLeaves(inserted);
}

TEST_F(ForeignInserts, OfAProgramThatMovesTheSequenceBackOrOnDisturbNoRecord) {
  if (!OnPostgres()) GTEST_SKIP() << "has no sequences";
  const ConnectionPtr other = OpenConnection(file);
  const std::string sequence = host::SequenceOf(*connection, "Kunden", "KundenNummer");
  int round = 0;
  int inserted = 0;
  ExpectEachRecordOnce(Between([&] {
    const std::string number = std::to_string(++round * 1000);
    other->OpenRecordset("SELECT setval('" + sequence + "', " + (round % 2 == 0 ? "1" : number) + ")");
    inserted += static_cast<int>(other->Execute("INSERT INTO Kunden (KundenNummer, Bez1) VALUES (" + number +
                                                " + 2, 'fremd') ON CONFLICT DO NOTHING"));
  }));
  EXPECT_GT(inserted, 0);
  ExpectUndoLeaves(inserted);
}

}  // namespace
}  // namespace kestrel
