// Runs whose source is a server that is lost among its records, or that has a value nobody can read.
#include <functional>

#include "import/run_fixture.h"
#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "support/postgres_server.h"
#include "support/project_paths.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr const char* kErrors =
    "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";

// A connection to which something happens as soon as a query has given its first row.
class DisturbedConnection final : public Connection {
 public:
  DisturbedConnection(ConnectionPtr connection, std::function<void()> disturb)
      : connection_(std::move(connection)), disturb_(std::move(disturb)) {}
  std::int64_t Execute(std::string_view sql) override { return connection_->Execute(sql); }
  RecordsetPtr OpenRecordset(std::string_view sql) override {
    RecordsetPtr rows = connection_->OpenRecordset(sql);
    disturb_();
    return rows;
  }
  std::vector<CatalogTable> Tables() override { return connection_->Tables(); }
  std::vector<std::string> ColumnNames(std::string_view table) override {
    return connection_->ColumnNames(table);
  }
  void Close() override { connection_->Close(); }
  bool IsOpen() const override { return connection_->IsOpen(); }

 private:
  ConnectionPtr connection_;
  std::function<void()> disturb_;
};

class LostSource : public ImportRunFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    session.TestMode = GetParam();
    session.Provider = kSqlServerSource;
    session.DeleteFile = true;
    session.FileName = folder.Write("adressen.txt", "x");
  }
  void UsePostgres(int rows) {
    database_ = PostgresServer::Shared().NewDatabase();
    Connect()->Execute(
        "CREATE TABLE adressen AS SELECT 'Name ' || i AS name, repeat('x', 1000) AS filler FROM "
        "generate_series(1, " +
        std::to_string(rows) + ") AS i");
    session.Table = "adressen";
    Assign({.field = "Bez1", .destination = "name"});
  }
  ConnectionPtr Connect() const { return OpenConnection(PostgresServer::Shared().ConnectionString(database_)); }
  // Ends every other session of the database, as an administrator or a crash does.
  void LoseServer() const {
    Connect()->OpenRecordset("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" +
                             database_ + "' AND pid <> pg_backend_pid()");
  }
  std::string OdbcString() const {
    const PostgresServer& server = PostgresServer::Shared();
    return "Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=" + server.port() + ";Database=" + database_ +
           ";Uid=kestrel;Pwd=" + server.password() + ";";
  }
  void ExpectBrokenOff(const RunResult& result, std::int32_t fewer_than) {
    EXPECT_EQ(result.source_end.state, SourceState::kBrokenOff);
    EXPECT_GT(result.records, 0);
    EXPECT_LT(result.records, fewer_than);
    EXPECT_EQ(result.errors, 1);
    EXPECT_THAT(LogLines(), SizeIs(1));
    EXPECT_EQ(result.message, kErrors);
    EXPECT_THAT(ui.boxes, SizeIs(2)) << "the reader's and the run's";
    EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
    EXPECT_EQ(session.TestMode ? result.checked : result.stored, result.records);
    EXPECT_TRUE(FileExists(session.FileName));
  }

  std::string database_;
};

TEST_P(LostSource, AnOdbcConnectionThatIsLostAmongTheRecordsIsOneError) {
  if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  constexpr int kRows = 3000;
  UsePostgres(kRows);
  Trap([&] { session.SourceConnection = OpenConnection(OdbcString()); }, [](const RuntimeError&) {});
  if (session.SourceConnection == nullptr) GTEST_SKIP() << "no ODBC driver for PostgreSQL";
  int records = 0;
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    if (++records == 3) LoseServer();
    return Value(NewRecord());
  });
  const RunResult& result = Run();
  EXPECT_EQ(result.total, kRows);
  ExpectBrokenOff(result, kRows);
}

TEST_P(LostSource, PostgresqlRowsThatAreLostBeforeTheyAreCountedAreOneError) {
  if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  constexpr int kRows = 50000;
  UsePostgres(kRows);
  session.SourceConnection = std::make_shared<DisturbedConnection>(Connect(), [this] { LoseServer(); });
  ExpectBrokenOff(Run(), kRows);
}

TEST_P(LostSource, PostgresqlRowsThatAreCountedAreAllThere) {
  if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  constexpr int kRows = 3000;
  UsePostgres(kRows);
  session.SourceConnection = Connect();
  int records = 0;
  import_class->Method("GetNewRecord", [&](std::span<Argument>) {
    if (++records == 3) LoseServer();
    return Value(NewRecord());
  });
  const RunResult& result = Run();
  EXPECT_EQ(result.source_end.state, SourceState::kAtEnd);
  EXPECT_EQ(result.records, kRows);
  EXPECT_EQ(result.errors, 0);
}

TEST_P(LostSource, AServerThatIsLostBeforeTheRunIsASourceThatCannotBeOpened) {
  if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  UsePostgres(10);
  session.SourceConnection =
      OpenConnection(PostgresServer::Shared().ConnectionString(database_) + ";LockWait=0,2");
  OpenConnection(PostgresServer::Shared().ConnectionString())
      ->Execute("ALTER DATABASE " + database_ + " ALLOW_CONNECTIONS false");
  OpenConnection(PostgresServer::Shared().ConnectionString())
      ->OpenRecordset("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + database_ +
                      "'");
  const RunResult& result = Run();
  EXPECT_EQ(result.source_end.state, SourceState::kNotOpened);
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(result.message, kErrors);
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_P(LostSource, AConnectionThatIsLostBeforeTheRunIsOpenedAgain) {
  if (const std::string reason = PostgresServer::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
  UsePostgres(10);
  session.SourceConnection = Connect();
  LoseServer();
  const RunResult& result = Run();
  EXPECT_EQ(result.source_end.state, SourceState::kAtEnd);
  EXPECT_EQ(result.records, 10);
  EXPECT_EQ(result.errors, 0);
}

TEST_P(LostSource, ARowThatTheDriverCannotReadIsOneErrorAndTheEnd) {
  session.SourceConnection = OpenConnection("Driver=" + InBuildTree("tests/failing_rows_driver.so") + ";");
  session.Table = "Lager";
  Assign({.field = "Bez1", .destination = "Menge"});
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 3);
  ASSERT_TRUE(result.source_end.error);
  EXPECT_THAT(result.source_end.error->Description(), HasSubstr("Zeile 4, Spalte 'Menge'"));
  ExpectBrokenOff(result, 4);
}

INSTANTIATE_TEST_SUITE_P(Servers, LostSource, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "test" : "run"; });

}  // namespace
}  // namespace kestrel::testing
