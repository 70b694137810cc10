// Whole imports whose database takes nothing any more in the middle: one message tells why, what is stored and where to go
// on, however much fails for the same reason.
#include <gmock/gmock.h>

#include <functional>

#include "host/calling_view.h"
#include "host/checked_customers.h"
#include "host/host_fixture.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class OneMessage : public testing::HostFixture {
 protected:
  static constexpr int kRecords = 4000;
  static constexpr int kWhere = 2000;

  void SetUp() override {
    HostFixture::SetUp();
    folder.Write("Kunden.IMP", testing::kCheckedCustomers);
    std::string source = testing::kCustomerHeadings;
    for (int i = 1; i <= kRecords; ++i) source += testing::CustomerLine(i, i);
    folder.Write("Quelle.txt", source);
  }

  // `release` is called behind the run.
  void ExpectOneMessage(
      const std::function<void()>& disturb, const std::string& reason, int where = kWhere,
      const std::function<void()>& release = [] {}) {
    testing::CallingView view([&](int record) {
      if (record == where) disturb();
    });
    ImportJob job({ui, components, clock});
    job.Open({.specification = folder.File("Kunden.IMP"), .host_connection = used, .user = "4711"});
    const RunResult& result = job.Run(view);
    release();
    EXPECT_THAT(result.stop_reason, HasSubstr(reason));
    EXPECT_THAT(ui.boxes, SizeIs(2)) << "the reason, and the end";
    EXPECT_THAT(ui.boxes.at(0).text, AllOf(HasSubstr("Der Import wurde angehalten. "), HasSubstr(reason)));
    EXPECT_EQ(std::to_string(result.stored),
              OpenConnection(file)->OpenRecordset("SELECT count(*) FROM Kunden")->TextAt(0));
    EXPECT_EQ(result.next_record, result.stored + 1);
  }

  // Another program takes a table for itself before that record.
  void ExpectOneMessageOfALock(const std::string& table, int where) {
    if (!OnPostgres()) GTEST_SKIP() << "locks a server's table";
    used = OpenConnection(file + ";LockWait=0,3");
    connection->Begin();
    const auto lock = [&] {
      host::GroupedWrites::Of(*used).Flush();
      connection->Execute("LOCK TABLE " + table + " IN ACCESS EXCLUSIVE MODE");
    };
    ExpectOneMessage(lock, "sperrt die Datenbank", where, [this] { connection->Rollback(); });
    // What is left of its patience behind that.
    const double left = std::stod("0" + std::string(used->OpenRecordset("SHOW lock_timeout")->TextAt(0)));
    EXPECT_LE(left, 150) << "the waits behind the first one have an end of their own";
  }

  ConnectionPtr used = connection;
  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
};

TEST_F(OneMessage, TellsAFullDisk) {
  if (OnPostgres()) GTEST_SKIP() << "limits an SQLite file";
  ExpectOneMessage([this] { Rows("PRAGMA max_page_count = " + Rows("PRAGMA page_count").at(0)); },
                   "kein Platz mehr");
}

TEST_F(OneMessage, TellsADatabaseThatHasBecomeReadOnly) {
  if (!OnPostgres()) GTEST_SKIP() << "needs a server";
  const std::string name(connection->OpenRecordset("SELECT current_database()")->TextAt(0));
  ExpectOneMessage(
      [&] {
        const ConnectionPtr other = OpenConnection(file);
        other->Execute("ALTER DATABASE " + name + " SET default_transaction_read_only = on");
        other->OpenRecordset(
            "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() AND pid "
            "<> "
            "pg_backend_pid()");
      },
      "darf nicht beschrieben werden");
}

TEST_F(OneMessage, TellsATableOfTheImportThatSomebodyLocks) { ExpectOneMessageOfALock("Kunden", kWhere); }

TEST_F(OneMessage, TellsATableThatIsLockedBeforeTheFirstRecord) { ExpectOneMessageOfALock("Kunden", 1); }

TEST_F(OneMessage, TellsAnIndexThatSomebodyLocks) { ExpectOneMessageOfALock("Adressindex", kWhere); }

TEST_F(OneMessage, TellsAnIndexThatIsLockedBeforeTheFirstLookUp) { ExpectOneMessageOfALock("Adressindex", 1); }

TEST_F(OneMessage, TellsALockedLedger) { ExpectOneMessageOfALock("Importlauf, Importlaufzeilen", kWhere); }

TEST_F(OneMessage, TellsALockedDatabase) {
  if (OnPostgres()) GTEST_SKIP() << "locks an SQLite file";
  used = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,3");
  const auto lock = [&] {
    host::GroupedWrites::Of(*used).Flush();
    connection->Begin();
  };
  ExpectOneMessage(lock, "sperrt die Datenbank", kWhere, [this] { connection->Rollback(); });
}

}  // namespace
}  // namespace kestrel
