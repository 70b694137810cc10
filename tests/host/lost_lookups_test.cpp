// Whole imports with duplicate check whose server ends the session between two records: what was looked up is looked up
// again, and what was stored is stored again.
#include <mutex>

#include "host/calling_view.h"
#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/base/coarse_time.h"
#include "platform/dialogs/recording_user_interface.h"
#include "schema/settings.h"
#include "support/eventually.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LostLookups : public testing::HostFixture {
 protected:
  static constexpr int kRecords = 300;

  void SetUp() override {
    if (!OnPostgres()) GTEST_SKIP() << "needs a server";
    HostFixture::SetUp();
    folder.Write("Kunden.IMP", testing::kCheckedCustomers);
    std::string source = testing::kCustomerHeadings;
    for (int i = 1; i <= kRecords; ++i) {
      source += testing::CustomerLine(i, i);
      // Its twin, found only where the look-up sees what was stored before.
      if (i % 50 == 0) source += testing::CustomerLine(kRecords + i, i);
    }
    folder.Write("Quelle.txt", source);
  }

  // From now on, and only once, the session ends with the row of that number.
  void EndSessionWith(int number, const std::string& table = "Kunden",
                      const std::string& column = "KundenNummer") {
    connection->Execute("CREATE SEQUENCE beendet");
    connection->Execute(
        "CREATE FUNCTION beende() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN IF nextval('beendet') = 1 THEN "
        "PERFORM pg_terminate_backend(pg_backend_pid()); END IF; RETURN NEW; END $$");
    connection->Execute("CREATE TRIGGER beende BEFORE INSERT OR UPDATE ON " + table +
                        " FOR EACH ROW WHEN (NEW." + column + " = " + std::to_string(number) +
                        ") EXECUTE FUNCTION beende()");
  }

  void ExpectAnUndisturbedRun() {
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
    ExpectUndisturbed(job.Run());
    EXPECT_GE(std::stoi(Rows("SELECT last_value FROM beendet").at(0)), 2)
        << "the session ended, and the row came again";
  }
  void ExpectUndisturbed(const RunResult& result) {
    EXPECT_EQ(result.records, kRecords + kRecords / 50);
    EXPECT_EQ(result.errors, 0);
    EXPECT_THAT(Rows("SELECT Spalte0 FROM Protokollzeilen WHERE Spalte0 LIKE 'Fehler%'"), IsEmpty());
    EXPECT_EQ(result.duplicates, kRecords / 50);
    EXPECT_EQ(result.stored, kRecords);
    for (const auto& box : ui.boxes) EXPECT_EQ(box.text.find("Fehler"), std::string::npos) << box.text;
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(std::to_string(kRecords)));
    EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden WHERE KundenNummer NOT IN "
                     "(SELECT CAST(Referenz AS integer) FROM Adressindex)"),
                IsEmpty());
    EXPECT_THAT(Rows("SELECT sum(Anzahl) FROM Importlaufzeilen WHERE Ereignis = 'neu'"),
                ElementsAre(std::to_string(kRecords)));
  }

  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
};

TEST_F(LostLookups, AreRepeatedWhereTheSessionEndsAtTheFirstRecord) {
  EndSessionWith(1);
  ExpectAnUndisturbedRun();
}

TEST_F(LostLookups, AreRepeatedWhereTheSessionEndsAmongRecordsThatWaitForTheirAnswers) {
  EndSessionWith(137);
  ExpectAnUndisturbedRun();
}

TEST_F(LostLookups, SeeARecordThatWasLostRightBeforeItsTwin) {
  EndSessionWith(150);
  ExpectAnUndisturbedRun();
}

TEST_F(LostLookups, AreRepeatedWhereTheSessionEndsWithARowOfTheIndex) {
  EndSessionWith(99, "Adressindex", "Adressart = 1 AND NEW.Referenz <> '' AND CAST(NEW.Referenz AS integer)");
  ExpectAnUndisturbedRun();
}

TEST_F(LostLookups, AreRepeatedWhereTheSettingsWereToBeReadFirst) {
  bool has_ended = false;
  std::unique_lock<ConnectionMutex> no_timer;
  testing::CallingView view([&](int record) {
    if (no_timer.owns_lock()) no_timer.unlock();
    if (has_ended || record < kRecords / 2) return;
    // Nobody else is to find out first.
    no_timer = std::unique_lock(connection->CallMutex());
    if (!connection->InTransaction()) return;
    has_ended = true;
    const auto read_at = CoarseNow();
    EXPECT_TRUE(testing::Eventually([&] { return CoarseNow() - read_at > host::Settings::kGoodFor; }));
    OpenConnection(file)->OpenRecordset(
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() AND pid <> "
        "pg_backend_pid()");
  });
  ImportJob job({ui, components, clock});
  job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = connection, .user = "4711"});
  ExpectUndisturbed(job.Run(view));
  EXPECT_TRUE(has_ended);
}

TEST_F(LostLookups, NorDoesTheRunsBeginningShowThatItsSessionEnded) {
  EndSessionWith(1, "Importlauf", "LaufNr > 0 AND 1");
  ExpectAnUndisturbedRun();
  EXPECT_THAT(Rows("SELECT Zustand FROM Importlauf"), ElementsAre("fertig"));
}

TEST_F(LostLookups, NorDoesItsEnd) {
  EndSessionWith(1, "Importlauf", "Zustand = 'fertig' AND 1");
  ExpectAnUndisturbedRun();
  EXPECT_THAT(Rows("SELECT Zustand, Gelesen, Neu FROM Importlauf"), ElementsAre("fertig|306|300"));
}

TEST_F(LostLookups, NorTheHeadOfALog) {
  EndSessionWith(1, "Protokoll", "ProtokollNr > 0 AND 1");
  ExpectAnUndisturbedRun();
  EXPECT_THAT(Rows("SELECT count(*) FROM Protokoll"), ElementsAre("1"));
}

TEST_F(LostLookups, NorARowOfALog) {
  EndSessionWith(1, "Protokollzeilen", "ZeilenNr > 0 AND 1");
  ExpectAnUndisturbedRun();
  EXPECT_THAT(Rows("SELECT count(*) FROM Protokollzeilen"), ElementsAre("120"));
}

}  // namespace
}  // namespace kestrel
