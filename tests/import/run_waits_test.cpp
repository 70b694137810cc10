// Runs whose host database is locked by another program for a while.
#include <gmock/gmock.h>

#include "import/run_fixture.h"
#include "kestrel/open_connection.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

class RunWaitsTest : public testing::ImportRunFixture {
 protected:
  RunWaitsTest() {
    UseNames({"eins", "zwei", "drei"});
    file = folder.File("gesperrt.db");
    host = OpenConnection(file);
    host->Execute("CREATE TABLE Namen (Name TEXT)");
    session.HostConnection = host;
    other = OpenConnection(file);
    import_class->Method("ImportRecord", [this](std::span<Argument>) {
      host->Begin();
      host->Execute("INSERT INTO Namen VALUES ('x')");
      host->Commit();
      return Value();
    });
  }

  std::string file;
  ConnectionPtr other;
};

TEST_F(RunWaitsTest, ALockIsShownAndWaitedForAndNothingIsSkipped) {
  other->Begin();
  view.on_info = [this] {
    if (view.infos.back().find("gesperrt") != std::string::npos && other->InTransaction()) other->Commit();
  };
  const RunResult& result = Run();
  EXPECT_THAT(view.infos, Contains(HasSubstr("Die Datenbank ist gesperrt")));
  EXPECT_EQ(result.errors, 0);
  EXPECT_EQ(result.records, 3);
  EXPECT_EQ(OpenConnection(file)->OpenRecordset("SELECT count(*) FROM Namen")->TextAt(0), "3");
}

TEST_F(RunWaitsTest, AStopRequestIsHonouredWhileWaiting) {
  other->Begin();
  view.on_info = [this] {
    if (view.infos.back().find("gesperrt") != std::string::npos) run.RequestAbort();
  };
  const RunResult& result = Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.records, 1);
  EXPECT_EQ(result.errors, 1);
}

TEST_F(RunWaitsTest, AStopRequestThatEndsAWaitIsTheUsersStopAlsoWithTheLastRecord) {
  std::int64_t code = 0;
  std::string reason;
  import_class->Method("ImportRecord", [&](std::span<Argument>) {
    Trap([this] { host->Begin(); },
         [&](const RuntimeError& error) {
           code = error.Number();
           reason = host->StopReason();
         });
    return Value();
  });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(code); })
      .Get("StopReason", [&](std::span<Argument>) { return Value(reason); });
  UseNames({"nur einer"});
  other->Begin();
  view.on_info = [this] {
    if (view.infos.back().find("gesperrt") != std::string::npos) run.RequestAbort();
  };
  const RunResult& result = Run();
  EXPECT_NE(reason, "");
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(result.stop_reason, "");
  EXPECT_EQ(result.errors, 1);
}

TEST_F(RunWaitsTest, NobodyIsAskedOnceTheRunIsOver) {
  const ConnectionPtr hasty = OpenConnection("Provider=SQLite;Data Source=" + file + ";LockWait=0,05");
  session.HostConnection = hasty;
  Run();
  const std::size_t infos = view.infos.size();
  other->Begin();
  EXPECT_FALSE(Trap([&] { hasty->Begin(); }, [](const RuntimeError&) {}));
  EXPECT_EQ(view.infos.size(), infos);
}

}  // namespace
}  // namespace kestrel
