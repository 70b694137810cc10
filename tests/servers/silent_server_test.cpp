// PostgreSQL servers that fall silent, that keep a lock, and that are gone.
#include <gmock/gmock.h>
#include <signal.h>

#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "platform/data/pipeline.h"
#include "platform/data/providers/postgres/opening.h"
#include "platform/data/recovery.h"
#include "servers/postgres_fixture.h"
#include "support/expect_error.h"
#include "support/noting_member.h"
#include "support/scripted_watch.h"
#include "support/silent_server.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::ScriptedWatch;

// The server's process behind a connection, stopped; goes on at the end of the scope.
class StoppedBackend {
 public:
  explicit StoppedBackend(Connection& connection)
      : process_(std::stoi(std::string(connection.OpenRecordset("SELECT pg_backend_pid()")->TextAt(0)))) {
    ::kill(process_, SIGSTOP);
  }
  StoppedBackend(const StoppedBackend&) = delete;
  StoppedBackend& operator=(const StoppedBackend&) = delete;
  ~StoppedBackend() { Continue(); }
  void Continue() const { ::kill(process_, SIGCONT); }

 private:
  pid_t process_;
};

class SilentServer : public testing::PostgresTest {
 protected:
  ConnectionPtr Hasty(const std::string& limits) {
    return OpenConnection(testing::PostgresServer::Shared().ConnectionString(database) + ";" + limits);
  }
};

TEST_F(SilentServer, IsGivenUpAfterItsTime) {
  connection->Execute("CREATE TABLE t (a int)");
  const ConnectionPtr hasty = Hasty("AnswerWait=2");
  hasty->Begin();
  hasty->Execute("INSERT INTO t VALUES (1)");
  const StoppedBackend backend(*hasty);
  EXPECT_ERROR_TEXT(hasty->Execute("INSERT INTO t VALUES (2)"), ErrorNumber::kDatabase,
                    HasSubstr("nicht geantwortet"));
  EXPECT_THAT(hasty->StopReason(), HasSubstr("Verbindung zum Datenbankserver"));
  EXPECT_FALSE(hasty->InTransaction());
  // What was meant for a lost transaction never runs outside of it.
  EXPECT_ERROR_TEXT(hasty->OpenRecordset("SELECT 1"), ErrorNumber::kDatabase, HasSubstr("nicht geantwortet"));
  // Another session of the server's answers.
  hasty->Begin();
  EXPECT_EQ(hasty->OpenRecordset("SELECT count(*) FROM t")->TextAt(0), "0");
  hasty->Close();
}

TEST_F(SilentServer, ThatTakesACommitLeavesItUncertain) {
  connection->Begin();
  const StoppedBackend backend(*connection);
  ScriptedWatch watch([](int) { return false; });
  connection->WatchWaits(&watch);
  EXPECT_ERROR_TEXT(connection->Commit(), ErrorNumber::kDatabase, HasSubstr("ungewiss"));
  connection->WatchWaits(nullptr);
}

TEST_F(SilentServer, IsWaitedForVisiblyUntilItAnswers) {
  const StoppedBackend backend(*connection);
  ScriptedWatch watch([&](int times) {
    if (times == 3) backend.Continue();
    return true;
  });
  connection->WatchWaits(&watch);
  EXPECT_EQ(Text("SELECT 17"), "17");
  EXPECT_GE(watch.times, 3);
  EXPECT_THAT(watch.last_reason, HasSubstr("antwortet nicht"));
  EXPECT_EQ(connection->StopReason(), "");
  connection->WatchWaits(nullptr);
}

TEST_F(SilentServer, AStopRequestEndsTheWait) {
  const StoppedBackend backend(*connection);
  ScriptedWatch watch([](int times) { return times < 2; });
  connection->WatchWaits(&watch);
  EXPECT_ERROR_TEXT(connection->Execute("CREATE TABLE t (a int)"), ErrorNumber::kDatabase,
                    HasSubstr("abgebrochen"));
  EXPECT_EQ(watch.times, 2);
  connection->WatchWaits(nullptr);
}

TEST_F(SilentServer, AStopRequestEndsTheWaitOfTheThreadThatCommitsForTheOneThatIsKeptFromItsCall) {
  const ConnectionPtr hasty = Hasty("AnswerWait=5");
  testing::NotingMember member;
  hasty->Execute("CREATE TABLE t (a int)");
  ScriptedWatch watch([&](int) { return watch.last_reason.empty(); });
  hasty->WatchWaits(&watch);
  std::unique_lock no_timer(hasty->CallMutex());
  host::GroupedWrites::Of(*hasty).Store(member, host::GroupedWrites::Record::kOneStatement,
                                        [&] { hasty->Execute("INSERT INTO t VALUES (1)"); });
  const StoppedBackend backend(*hasty);
  no_timer.unlock();
  // Until the write group's thread is at its commit.
  while (std::unique_lock(hasty->CallMutex(), std::try_to_lock)) std::this_thread::yield();
  EXPECT_FALSE(hasty->InTransaction());
  EXPECT_GE(watch.times, 2);
  EXPECT_THAT(watch.last_reason, HasSubstr("antwortet nicht"));
  EXPECT_THAT(member.losses, ::testing::ElementsAre(HasSubstr("abgebrochen")));
  hasty->WatchWaits(nullptr);
}

TEST_F(SilentServer, ThatAnswersSoonAfterAStopRequestLosesNothing) {
  connection->Execute("CREATE TABLE t (a int)");
  const StoppedBackend backend(*connection);
  ScriptedWatch watch([&](int) {
    backend.Continue();
    return false;
  });
  connection->WatchWaits(&watch);
  EXPECT_EQ(connection->Execute("INSERT INTO t VALUES (1)"), 1);
  connection->WatchWaits(nullptr);
}

TEST_F(SilentServer, ThatTakesNothingAnyMoreKeepsNoSenderWaiting) {
  connection->Execute("CREATE TABLE t (a text)");
  const std::unique_ptr<Statement> insert = connection->Prepare("INSERT INTO t VALUES (?)");
  class Work final : public PipelineSender {
   public:
    void PipelineSucceeded() override { ++stood; }
    void RetryPipeline() override { ++again; }
    int stood = 0;
    int again = 0;
  } work;
  connection->Begin();
  // More than the buffers of a connection take.
  const std::string text(100000, 'x');
  insert->BindText(0, text);
  connection->pipeline()->Send(*insert, work);
  const StoppedBackend backend(*connection);
  for (int i = 0; i < 200; ++i) connection->pipeline()->Send(*insert, work);
  ScriptedWatch watch([](int) { return false; });
  connection->WatchWaits(&watch);
  EXPECT_ERROR(connection->Commit(), ErrorNumber::kDatabase);
  connection->WatchWaits(nullptr);
  EXPECT_EQ(work.stood, 0);
  EXPECT_EQ(work.again, 1);
}

TEST_F(SilentServer, LocksThatAreMetBehindOneAnotherAreWaitedForWithWhatIsLeftOfOnePatience) {
  connection->Execute("CREATE TABLE t (a int)");
  const ConnectionPtr hasty = Hasty("LockWait=0,4");
  const auto patience = [&] { return std::string(hasty->OpenRecordset("SHOW lock_timeout")->TextAt(0)); };
  connection->Begin();
  connection->Execute("LOCK TABLE t");
  EXPECT_EQ(patience(), "400ms");
  // A query with a text is not tried as two.
  EXPECT_ERROR(hasty->OpenRecordset("SELECT * FROM t WHERE 'a' = 'a'"), ErrorNumber::kDatabase);
  EXPECT_EQ(patience(), "200ms");
  hasty->Begin();
  EXPECT_EQ(patience(), "200ms");
  EXPECT_ERROR(hasty->Execute("INSERT INTO t VALUES (1)"), ErrorNumber::kDatabase);
  EXPECT_EQ(patience(), "1ms");
  hasty->Rollback();
  EXPECT_ERROR(hasty->Execute("INSERT INTO t VALUES (1)"), ErrorNumber::kDatabase);
  connection->Rollback();
  EXPECT_EQ(hasty->Execute("INSERT INTO t VALUES (1)"), 1);
}

TEST_F(SilentServer, APatienceOfNothingIsNoPatienceWithoutEnd) {
  EXPECT_EQ(Hasty("LockWait=0")->OpenRecordset("SHOW lock_timeout")->TextAt(0), "1ms");
}

TEST_F(SilentServer, ARowThatSomebodyLocksIsWaitedForForItsTime) {
  connection->Execute("CREATE TABLE t (a int)");
  connection->Execute("INSERT INTO t VALUES (1)");
  connection->Begin();
  connection->Execute("UPDATE t SET a = 2");
  const ConnectionPtr hasty = Hasty("LockWait=0,1");
  EXPECT_ERROR_TEXT(hasty->Execute("UPDATE t SET a = 3"), ErrorNumber::kDatabase,
                    HasSubstr("hält gesperrt, was gelesen oder geändert werden soll (canceling"));
  EXPECT_THAT(hasty->StopReason(), HasSubstr("sperrt die Datenbank"));
  connection->Commit();
  hasty->Begin();
  EXPECT_EQ(hasty->StopReason(), "");
  EXPECT_EQ(hasty->Execute("UPDATE t SET a = 3"), 1);
  hasty->Commit();
}

TEST_F(SilentServer, AStatementThatTookTooLongIsForgottenWithTheNextThatIsMore) {
  const auto* const recovery = dynamic_cast<const Recovery*>(connection.get());
  connection->Execute("SET statement_timeout = '50ms'");
  connection->Begin();
  connection->Execute("SAVEPOINT davor");
  EXPECT_ERROR_TEXT(connection->OpenRecordset("SELECT pg_sleep(100)"), ErrorNumber::kDatabase,
                    HasSubstr("statement timeout"));
  EXPECT_EQ(recovery->LastLoss(), Recovery::Loss::kUndone);
  connection->Execute("ROLLBACK TO SAVEPOINT davor");
  EXPECT_EQ(recovery->LastLoss(), Recovery::Loss::kUndone) << "who undoes it asks behind that";
  EXPECT_EQ(Text("SELECT 17"), "17");
  EXPECT_EQ(recovery->LastLoss(), Recovery::Loss::kLasting);
  connection->Rollback();
}

TEST_F(SilentServer, ThatNeverGreetsIsGivenUpAfterTheTimeAskedFor) {
  const testing::SilentServer server;
  EXPECT_ERROR_TEXT(OpenConnection("Provider=PostgreSQL;host=127.0.0.1;port=" + server.port() +
                                   ";dbname=x;connect_timeout=2"),
                    ErrorNumber::kDatabase,
                    ::testing::AllOf(HasSubstr("nicht rechtzeitig gemeldet"), HasSubstr("timeout expired")));
}

TEST_F(SilentServer, ThatNeverGreetsIsPassedOverForTheNextOne) {
  const testing::SilentServer first;
  const testing::SilentServer second;
  const auto& server = testing::PostgresServer::Shared();
  const std::string ports = first.port() + "," + second.port() + "," + server.port();
  const std::string listed = "Provider=PostgreSQL;host=localhost,127.0.0.1,localhost;port=" + ports +
                             ";dbname=" + database + ";user=kestrel;password=" + server.password() +
                             ";connect_timeout=2";
  EXPECT_EQ(OpenConnection(listed)->OpenRecordset("SELECT 17")->TextAt(0), "17");
  const std::string url = "postgresql://kestrel:" + server.password() + "@127.0.0.1:" + first.port() +
                          ",127.0.0.1:" + server.port() + "/" + database + "?connect_timeout=2";
  EXPECT_EQ(OpenConnection(url)->OpenRecordset("SELECT 17")->TextAt(0), "17");
  const std::string numbered =
      "Provider=PostgreSQL;host=a.invalid,b.invalid;hostaddr=127.0.0.1,127.0.0.1;port=" + first.port() + "," +
      server.port() + ";dbname=" + database + ";user=kestrel;password=" + server.password() +
      ";connect_timeout=2";
  EXPECT_EQ(OpenConnection(numbered)->OpenRecordset("SELECT 17")->TextAt(0), "17");
}

// It would meet the end of the program, and crash it.
TEST_F(SilentServer, ThatNobodyWaitsForAnyMoreIsNotWaitedForInTheBackgroundEither) {
  const testing::SilentServer server;
  std::optional<postgres::Opening> opening(
      std::in_place,
      postgres::Address{.options = {{"host", "127.0.0.1"}, {"port", server.port()}, {"connect_timeout", "0"}},
                        .password = ""});
  EXPECT_FALSE(opening->HasEnded(std::chrono::milliseconds(1)));
  opening.reset();
  server.ListenToTheEnd();
}

TEST_F(SilentServer, ThatIsToBeWaitedForForNoNumberOfSecondsIsNotAsked) {
  EXPECT_ERROR_TEXT(Hasty("connect_timeout=bald"), ErrorNumber::kDatabase,
                    HasSubstr("connect_timeout ist keine Zahl von Sekunden: 'bald'"));
}

TEST_F(SilentServer, ThatIsGoneLetsAConnectionWithAnOpenGroupEnd) {
  testing::NotingMember member;
  connection->Execute("CREATE TABLE t (a int)");
  ConnectionPtr other = Connect();
  host::GroupedWrites::Of(*other).Store(member, host::GroupedWrites::Record::kOneStatement,
                                        [&] { other->Execute("INSERT INTO t VALUES (1)"); });
  Text("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + database +
       "' AND pid <> pg_backend_pid()");
  other.reset();
  EXPECT_EQ(member.losses.size(), 1U);
  EXPECT_EQ(member.stood, 0);
}

TEST_F(SilentServer, CommitsReachTheDiskAlsoWhereTheServerIsToldToHurry) {
  connection->Execute("ALTER DATABASE " + database + " SET synchronous_commit = off");
  connection = Connect();
  EXPECT_EQ(Text("SHOW synchronous_commit"), "on");
  connection->Execute("ALTER DATABASE " + database + " SET synchronous_commit = remote_write");
  connection = Connect();
  EXPECT_EQ(Text("SHOW synchronous_commit"), "remote_write");
}

}  // namespace
}  // namespace kestrel
