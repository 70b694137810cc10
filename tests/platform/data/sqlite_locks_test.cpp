// Several programs at one SQLite file: what waits, what is told meanwhile, and what comes of it.
#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "kestrel/open_connection.h"
#include "support/eventually.h"
#include "support/expect_error.h"
#include "support/scripted_watch.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::ScriptedWatch;

class SqliteLocks : public ::testing::Test {
 protected:
  SqliteLocks() { connection->Execute("CREATE TABLE t (n INTEGER)"); }

  testing::TempFolder folder;
  const std::string file = folder.File("test.db");
  const ConnectionPtr connection = OpenConnection(file);
  const ConnectionPtr other = OpenConnection(file);
};

TEST_F(SqliteLocks, ATransactionWaitsVisiblyUntilTheOtherOneEnds) {
  other->Begin();
  ScriptedWatch watch([this](int times) {
    if (times == 3) other->Commit();
    return true;
  });
  connection->WatchWaits(&watch);
  connection->Begin();
  EXPECT_EQ(watch.times, 3);
  EXPECT_THAT(watch.last_reason, HasSubstr("Die Datenbank ist gesperrt"));
  EXPECT_EQ(connection->StopReason(), "");
  connection->Rollback();
  connection->WatchWaits(nullptr);
}

TEST_F(SqliteLocks, AStopRequestEndsTheWait) {
  other->Begin();
  ScriptedWatch watch([](int) { return false; });
  connection->WatchWaits(&watch);
  EXPECT_ERROR_TEXT(connection->Begin(), ErrorNumber::kDatabase, HasSubstr("abgebrochen"));
  EXPECT_EQ(watch.times, 1);
  EXPECT_FALSE(connection->InTransaction());
  connection->WatchWaits(nullptr);
}

TEST_F(SqliteLocks, ALockThatOutlastsItsTimeIsAReasonToStop) {
  other->Begin();
  const ConnectionPtr hasty = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,05");
  EXPECT_ERROR_TEXT(hasty->Begin(), ErrorNumber::kDatabase, HasSubstr("gesperrt"));
  EXPECT_THAT(hasty->StopReason(), HasSubstr("sperrt die Datenbank"));
  // Statements outside of a transaction as well.
  EXPECT_ERROR_TEXT(hasty->Execute("INSERT INTO t VALUES (1)"), ErrorNumber::kDatabase, HasSubstr("gesperrt"));
  EXPECT_THAT(hasty->StopReason(), HasSubstr("sperrt die Datenbank"));
  other->Commit();
  hasty->Begin();
  EXPECT_EQ(hasty->StopReason(), "");
}

TEST_F(SqliteLocks, WaitsForTheSameLockHaveOneLimitInAll) {
  using std::chrono::milliseconds;
  Waits waits;
  waits.SetLockLimit("10");
  EXPECT_EQ(waits.LockPatience(), milliseconds(10000));
  waits.LockOutlasted(milliseconds(10000));
  EXPECT_EQ(waits.LockPatience(), milliseconds(5000));
  waits.LockOutlasted(milliseconds(3000));
  EXPECT_EQ(waits.LockPatience(), milliseconds(2000));
  waits.LockOutlasted(milliseconds(2000));
  EXPECT_EQ(waits.LockPatience(), milliseconds(0));
  waits.LockOutlasted(milliseconds(0));
  EXPECT_EQ(waits.LockPatience(), milliseconds(0));
}

TEST_F(SqliteLocks, BehindALockThatOutlastedItsTimeTheNextCallsAskTheWatchLessOften) {
  const ConnectionPtr hasty = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,3");
  int asked = 0;
  ScriptedWatch watch([&](int) { return ++asked > 0; });
  hasty->WatchWaits(&watch);
  other->Begin();
  EXPECT_ERROR(hasty->Begin(), ErrorNumber::kDatabase);
  EXPECT_ERROR(hasty->Begin(), ErrorNumber::kDatabase);
  asked = 0;
  EXPECT_ERROR(hasty->Begin(), ErrorNumber::kDatabase);
  EXPECT_EQ(asked, 0) << "nothing is left of the patience";
  other->Rollback();
  hasty->Begin();
  hasty->WatchWaits(nullptr);
}

TEST_F(SqliteLocks, AStatementOutsideOfATransactionWaitsVisiblyToo) {
  other->Begin();
  ScriptedWatch watch([this](int times) {
    if (times == 3) other->Commit();
    return true;
  });
  connection->WatchWaits(&watch);
  EXPECT_EQ(connection->Execute("INSERT INTO t VALUES (1)"), 1);
  EXPECT_EQ(watch.times, 3);
  EXPECT_EQ(connection->OpenRecordset("SELECT sum(n) FROM t")->TextAt(0), "1");
  connection->WatchWaits(nullptr);
}

TEST_F(SqliteLocks, AStopRequestEndsTheWaitOfAStatement) {
  other->Begin();
  ScriptedWatch watch([](int) { return false; });
  connection->WatchWaits(&watch);
  EXPECT_ERROR_TEXT(connection->Execute("INSERT INTO t VALUES (1)"), ErrorNumber::kDatabase,
                    HasSubstr("abgebrochen"));
  EXPECT_EQ(watch.times, 1);
  other->Rollback();
  // The statement can be run again.
  EXPECT_EQ(connection->Execute("INSERT INTO t VALUES (2)"), 1);
  connection->WatchWaits(nullptr);
}

// Without a write ahead log readers wait for whoever writes into the file.
TEST_F(SqliteLocks, AQueryWaitsVisiblyForACommit) {
  connection->Execute("PRAGMA locking_mode = EXCLUSIVE");
  connection->Execute("INSERT INTO t VALUES (1)");
  ScriptedWatch watch([this](int times) {
    if (times == 2) connection->Close();
    return true;
  });
  other->WatchWaits(&watch);
  EXPECT_EQ(other->OpenRecordset("SELECT n FROM t")->TextAt(0), "1");
  EXPECT_EQ(watch.times, 2);
  other->WatchWaits(nullptr);
}

// One who begins again as soon as he has committed.
TEST_F(SqliteLocks, WhoGivesTheLockUpLetsThoseInWhoWaitForIt) {
  constexpr int kMostTurns = 50;
  std::atomic<int> asked = 0;
  std::atomic<bool> is_in = false;
  other->Begin();
  std::thread waiting([&] {
    ScriptedWatch watch([&](int times) {
      asked = times;
      return true;
    });
    connection->WatchWaits(&watch);
    connection->Begin();
    is_in = true;
    connection->Rollback();
    connection->WatchWaits(nullptr);
  });
  int turns = 0;
  for (; turns < kMostTurns && !is_in; ++turns) {
    const int before = asked;
    ASSERT_TRUE(testing::Eventually([&] { return is_in || asked > before; }));
    other->Commit();
    other->Begin();
  }
  other->Rollback();
  waiting.join();
  EXPECT_LT(turns, kMostTurns);
  EXPECT_FALSE(std::filesystem::exists(file + "-wartet"));
}

TEST_F(SqliteLocks, OnlyTheThreadThatWatchesIsAsked) {
  const ConnectionPtr hasty = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,05");
  ScriptedWatch watch([](int) { return true; });
  hasty->WatchWaits(&watch);
  other->Begin();
  std::thread([&] { EXPECT_ERROR(hasty->Begin(), ErrorNumber::kDatabase); }).join();
  EXPECT_EQ(watch.times, 0);
  EXPECT_ERROR(hasty->Begin(), ErrorNumber::kDatabase);
  EXPECT_GT(watch.times, 0);
}

// Without a write ahead log a reader keeps a commit waiting.
TEST_F(SqliteLocks, ACommitThatFindsAReaderIsTriedAgain) {
  other->Close();
  connection->OpenRecordset("PRAGMA journal_mode = DELETE");
  connection->Execute("INSERT INTO t VALUES (1), (2), (3)");
  const ConnectionPtr reader = OpenConnection("Provider=SQLite;Data Source=" + file + ";Mode=ReadOnly");
  RecordsetPtr rows = reader->OpenRecordset("SELECT n FROM t");
  ScriptedWatch watch([&](int times) {
    if (times == 2) rows.reset();
    return true;
  });
  connection->WatchWaits(&watch);
  connection->Begin();
  connection->Execute("INSERT INTO t VALUES (4)");
  connection->Commit();
  EXPECT_EQ(watch.times, 2);
  EXPECT_EQ(reader->OpenRecordset("SELECT count(*) FROM t")->TextAt(0), "4");
  connection->WatchWaits(nullptr);
}

// Renamed, deleted, and replaced by another database.
TEST_F(SqliteLocks, AFileThatIsNoLongerAtItsPlaceTakesNoTransaction) {
  connection->Begin();
  connection->Execute("INSERT INTO t VALUES (1)");
  std::filesystem::rename(file, file + ".old");
  EXPECT_ERROR_TEXT(connection->Commit(), ErrorNumber::kDatabase, HasSubstr("nicht mehr an ihrem Platz"));
  EXPECT_FALSE(connection->InTransaction());
  EXPECT_THAT(connection->StopReason(), HasSubstr("gelöscht, verschoben oder ersetzt"));
  EXPECT_ERROR(connection->MakeDurable(), ErrorNumber::kDatabase);
  std::filesystem::copy_file(file + ".old", file);
  EXPECT_ERROR(connection->Begin(), ErrorNumber::kDatabase);
  std::filesystem::remove(file);
  EXPECT_ERROR(connection->Begin(), ErrorNumber::kDatabase);
  std::filesystem::rename(file + ".old", file);
  connection->Begin();
  EXPECT_EQ(connection->StopReason(), "");
  connection->Execute("INSERT INTO t VALUES (2)");
  connection->Commit();
  connection->MakeDurable();
  EXPECT_EQ(connection->OpenRecordset("SELECT sum(n) FROM t")->TextAt(0), "2");
}

TEST_F(SqliteLocks, AFullFileIsAReasonToStopUntilThereIsRoom) {
  connection->OpenRecordset("PRAGMA max_page_count = 2");
  connection->Begin();
  EXPECT_ERROR_TEXT(connection->Execute("INSERT INTO t SELECT randomblob(100000)"), ErrorNumber::kDatabase,
                    HasSubstr("full"));
  EXPECT_THAT(connection->StopReason(), HasSubstr("kein Platz mehr"));
  if (connection->InTransaction()) connection->Rollback();
  connection->OpenRecordset("PRAGMA max_page_count = 100000");
  connection->Begin();
  EXPECT_EQ(connection->StopReason(), "");
  connection->Execute("INSERT INTO t SELECT randomblob(100000)");
  connection->Commit();
  connection->MakeDurable();
}

}  // namespace
}  // namespace kestrel
