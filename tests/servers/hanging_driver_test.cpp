// ODBC drivers that do not come back from a call, and a person who does not want to wait for them.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "import/run_fixture.h"
#include "kestrel/open_connection.h"
#include "support/eventually.h"
#include "support/expect_error.h"
#include "support/postgres_server.h"
#include "support/project_paths.h"
#include "support/scripted_watch.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// A stand-in for a driver: odbc_stand_in/failing_rows_driver.cpp.
class HangingDriver : public ::testing::Test {
 protected:
  void SetUp() override { connection->WatchWaits(&watch); }
  void TearDown() override {
    connection->WatchWaits(nullptr);
    ::dlclose(driver);
  }
  template <class Function>
  Function* Of(const char* name) const {
    return reinterpret_cast<Function*>(::dlsym(driver, name));
  }
  int Statements() const { return Of<int()>("StandInStatements")(); }

  const std::string file = InBuildTree("tests/failing_rows_driver.so");
  void* const driver = ::dlopen(file.c_str(), RTLD_NOW);
  const ConnectionPtr connection = OpenConnection("Driver=" + file + ";");
  ScriptedWatch watch{[](int times) { return times < 2; }};
};

TEST_F(HangingDriver, IsAskedToComeBackByAStopRequest) {
  EXPECT_ERROR_TEXT(connection->OpenRecordset("SELECT * FROM Haengt"), ErrorNumber::kDatabase,
                    ::testing::AllOf(HasSubstr("Operation canceled"), Not(HasSubstr("aufgegeben"))));
  EXPECT_EQ(watch.times, 2);
  EXPECT_THAT(watch.last_reason, HasSubstr("Datenquelle antwortet nicht"));
  EXPECT_TRUE(Eventually([this] { return Statements() == 0; }));
}

TEST_F(HangingDriver, ThatDoesNotHearOfItIsLeftWithItsConnection) {
  EXPECT_ERROR_TEXT(connection->OpenRecordset("SELECT * FROM Taub"), ErrorNumber::kDatabase,
                    HasSubstr("die Verbindung ist aufgegeben"));
  EXPECT_EQ(Statements(), 1) << "it is still in use";
  // Another connection of the same source works.
  watch.times = -1000;
  EXPECT_EQ(connection->OpenRecordset("SELECT Menge FROM Lager")->TextAt(0), "10");
  // It comes back at last, and writes the rows where they were wanted.
  Of<void()>("StandInRelease")();
  EXPECT_TRUE(Eventually([this] { return Statements() == 0; }));
}

TEST_F(HangingDriver, ThatDoesNotComeBackFromBeingAskedKeepsNobodyFromTheEnd) {
  RecordsetPtr rows = connection->OpenRecordset("SELECT * FROM Zaeh");
  EXPECT_EQ(rows->TextAt(0), "10");
  // Behind a run nobody watches any more.
  connection->WatchWaits(nullptr);
  std::atomic<bool> has_ended = false;
  std::thread end([&] {
    rows = nullptr;
    has_ended = true;
  });
  EXPECT_TRUE(Eventually([&] { return has_ended.load(); }));
  EXPECT_EQ(Statements(), 1) << "it is still in use";
  Of<void()>("StandInReleaseCancel")();
  end.join();
  EXPECT_TRUE(Eventually([this] { return Statements() == 0; }));
}

TEST_F(HangingDriver, RowsThatAThreadFetchesAreThoseThatTheCallerWouldFetch) {
  watch.times = -1000;
  const RecordsetPtr rows = connection->OpenRecordset("SELECT Menge FROM Lager");
  for (const char* amount : {"10", "20"}) {
    EXPECT_EQ(rows->TextAt(0), amount);
    rows->MoveNext();
  }
  EXPECT_EQ(rows->TextAt(0), "30");
  EXPECT_ERROR_TEXT(rows->MoveNext(), ErrorNumber::kDatabase,
                    HasSubstr("Zeile 4, Spalte 'Menge': Der Wert kann nicht gelesen werden."));
  EXPECT_TRUE(rows->IsEof());
}

// The real driver of PostgreSQL, whose own limits leave a frozen server to itself.
class FrozenOdbcServer : public ImportRunFixture {
 protected:
  void SetUp() override {
    if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
    database = PostgresServer::Shared().NewDatabase();
    Connect()->Execute(
        "CREATE TABLE adressen AS SELECT 'Name ' || i AS name, repeat('x', 1000) AS filler FROM "
        "generate_series(1, 5000) AS i");
    const PostgresServer& server = PostgresServer::Shared();
    Trap(
        [&] {
          session.SourceConnection =
              OpenConnection("Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=" + server.port() +
                             ";Database=" + database + ";Uid=kestrel;Pwd=" + server.password() + ";");
        },
        [](const RuntimeError&) {});
    if (session.SourceConnection == nullptr) GTEST_SKIP() << "no ODBC driver for PostgreSQL";
    session.Provider = kSqlServerSource;
    session.Table = "adressen";
    Assign({.field = "Bez1", .destination = "name"});
  }
  ConnectionPtr Connect() const { return OpenConnection(PostgresServer::Shared().ConnectionString(database)); }
  // Sends a signal to the server's processes of the other sessions.
  void Signal(int signal) {
    if (processes.empty()) {
      const ConnectionPtr connection = Connect();
      for (const RecordsetPtr rows = connection->OpenRecordset(
               "SELECT pid FROM pg_stat_activity WHERE datname = current_database() AND pid <> "
               "pg_backend_pid()");
           !rows->IsEof(); rows->MoveNext()) {
        processes.push_back(static_cast<pid_t>(rows->ValueAt(0).ToInteger()));
      }
    }
    for (const pid_t process : processes) ::kill(process, signal);
  }
  void TearDown() override {
    if (session.SourceConnection == nullptr) return;
    Signal(SIGCONT);
    session.SourceConnection = nullptr;
    // The call that was left behind comes back, and ends its session.
    EXPECT_TRUE(Eventually([this] {
      return Connect()
                 ->OpenRecordset(
                     "SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() AND pid <> "
                     "pg_backend_pid()")
                 ->TextAt(0) == "0";
    }));
    // At the end of its last session the driver writes a line, whatever it is told.
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      const std::string name = entry.path().filename();
      const bool is_own = name.starts_with("psqlodbc_") && name.ends_with(std::to_string(::getpid()) + ".log");
      if (is_own) std::filesystem::remove(entry.path());
    }
  }

  std::string database;
  std::vector<pid_t> processes;
};

// All of a record set, from its start and once more.
std::vector<std::string> AllOf(Recordset& rows) {
  std::vector<std::string> all;
  for (int times = 0; times < 2; ++times) {
    for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext()) {
      std::string row;
      for (std::size_t i = 0; i < rows.ColumnCount(); ++i) {
        row += (rows.IsNull(i) ? "NULL" : std::string(rows.TextAt(i)) + "/" + rows.ValueAt(i).ToText()) + "|";
      }
      all.push_back(row);
    }
  }
  return all;
}

TEST_F(FrozenOdbcServer, RowsThatAThreadFetchesAreThoseThatTheCallerWouldFetch) {
  Connection& source = *session.SourceConnection;
  for (const std::string columns :
       {"i, 'Name ' || i AS n, now()::date AS d, i % 2 = 0 AS t, i / 7.0::numeric(12,3) AS x",
        "i, ('Name ' || i)::varchar(20) AS n, CASE WHEN i % 3 > 0 THEN i / 2.0::float8 END AS d",
        "i, CASE WHEN i % 10 = 0 THEN repeat('ü', 30000) WHEN i % 7 > 0 THEN 'kurz' END AS lang, 'x' || i AS s",
        "i, CASE WHEN i % 50 = 0 THEN repeat('y', 3000000) ELSE '' END AS lang, i::float4 AS r"}) {
    const std::string query = "SELECT " + columns + " FROM generate_series(1, 300) AS i";
    const RecordsetPtr expected = source.OpenRecordset(query);
    const std::vector<std::string> all = AllOf(*expected);
    EXPECT_EQ(all.size(), 600u);
    ScriptedWatch watch([](int) { return true; });
    source.WatchWaits(&watch);
    {
      const RecordsetPtr rows = source.OpenRecordset(query);
      EXPECT_TRUE(AllOf(*rows) == all) << columns;
      EXPECT_EQ(rows->RecordCount(), 300);
      rows->GoTo(170);
      EXPECT_EQ(rows->TextAt(0), "171");
    }
    source.WatchWaits(nullptr);
  }
}

TEST_F(FrozenOdbcServer, AStopRequestEndsARunThatWaitsForIt) {
  int records = 0;
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    if (++records == 3) Signal(SIGSTOP);
    return Value(NewRecord());
  });
  view.on_info = [this] {
    if (view.infos.back().find("Datenquelle antwortet nicht") != std::string::npos) run.RequestAbort();
  };
  const RunResult& result = Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_GE(result.records, 3);
  EXPECT_LT(result.records, 5000);
}

}  // namespace
}  // namespace kestrel::testing
