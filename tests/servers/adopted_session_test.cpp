// A session that a program has opened itself, lent to the component.
#include <gmock/gmock.h>
#include <libpq-fe.h>

#include <memory>
#include <string>

#include "kestrel/kestrel.h"
#include "platform/data/connection_contract.h"
#include "platform/data/providers/postgres/postgres_provider.h"
#include "servers/postgres_fixture.h"
#include "support/expect_error.h"
#include "support/postgres_server.h"

namespace kestrel {

using testing::ConnectionContract;
using ::testing::HasSubstr;
using testing::PostgresServer;
using testing::WritingContract;

namespace {

using Owned = std::unique_ptr<PGconn, decltype(&PQfinish)>;

Owned OpenOwned(const std::string& database) {
  const PostgresServer& server = PostgresServer::Shared();
  Owned owned(PQconnectdb(("host=127.0.0.1 user=kestrel client_encoding=UTF8 dbname=" + database +
                           " port=" + server.port() + " password=" + server.password())
                              .c_str()),
              &PQfinish);
  EXPECT_EQ(PQstatus(owned.get()), CONNECTION_OK) << PQerrorMessage(owned.get());
  return owned;
}

std::string TextOf(const Owned& owned, const char* sql) {
  PGresult* const result = PQexec(owned.get(), sql);
  const bool has_text = PQresultStatus(result) == PGRES_TUPLES_OK && PQntuples(result) == 1;
  const std::string text = has_text ? PQgetvalue(result, 0, 0) : PQresultErrorMessage(result);
  PQclear(result);
  return text;
}

testing::ContractSource LentContract() {
  testing::ContractSource source;
  source.name = "LentSession";
  source.told_name = [](std::string name) {
    for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return name;
  };
  source.open = [](const testing::TempFolder&, const testing::ContractTable& table) -> ConnectionPtr {
    if (!PostgresServer::WhyNot().empty()) return nullptr;
    PostgresServer& server = PostgresServer::Shared();
    const std::string database = server.NewDatabase();
    testing::CreateTable(*OpenConnection(server.ConnectionString(database)), table);
    const auto owned = std::make_shared<Owned>(OpenOwned(database));
    const ConnectionPtr lent = postgres::Adopt(owned->get());
    // The owner's connection goes behind the one that borrows it.
    return {lent.get(), [owned, lent](Connection* connection) { connection->Close(); }};
  };
  return source;
}

using LentSession = testing::PostgresTest;

}  // namespace

INSTANTIATE_TEST_SUITE_P(Lent, ConnectionContract, ::testing::Values(LentContract()), testing::ContractName);
INSTANTIATE_TEST_SUITE_P(Lent, WritingContract, ::testing::Values(LentContract()), testing::ContractName);

TEST_F(LentSession, ComesBackAsItWas) {
  const Owned owned = OpenOwned(database);
  TextOf(owned, "SET datestyle TO SQL");
  const std::string lock_timeout = TextOf(owned, "SHOW lock_timeout");
  const ConnectionPtr lent = postgres::Adopt(owned.get());
  lent->Execute("CREATE TABLE t (n integer)");
  lent->Begin();
  lent->Execute("INSERT INTO t VALUES (1)");
  lent->Commit();
  EXPECT_EQ(lent->OpenRecordset("SELECT date '2026-12-24'")->TextAt(0), "24.12.2026");
  // Rows that nobody has read yet, and a transaction that nobody has ended.
  const RecordsetPtr rows = lent->OpenRecordset("SELECT n FROM generate_series(1, 3) AS n");
  lent->Begin();
  lent->Execute("INSERT INTO t VALUES (2)");
  lent->Close();
  EXPECT_EQ(rows->TextAt(0), "1");
  EXPECT_EQ(PQpipelineStatus(owned.get()), PQ_PIPELINE_OFF);
  EXPECT_EQ(PQisnonblocking(owned.get()), 0);
  EXPECT_EQ(PQtransactionStatus(owned.get()), PQTRANS_IDLE);
  EXPECT_EQ(TextOf(owned, "SELECT count(*) FROM t"), "1");
  EXPECT_EQ(TextOf(owned, "SHOW lock_timeout"), lock_timeout);
  EXPECT_THAT(TextOf(owned, "SHOW datestyle"), HasSubstr("SQL"));
  EXPECT_EQ(TextOf(owned, "SELECT count(*) FROM pg_prepared_statements"), "0");
}

TEST_F(LentSession, IsLentOnlyWhereNothingIsOpenAndTextsAreUtf8) {
  const Owned owned = OpenOwned(database);
  TextOf(owned, "BEGIN");
  EXPECT_ERROR_TEXT(postgres::Adopt(owned.get()), ErrorNumber::kDatabase, HasSubstr("Transaktion"));
  TextOf(owned, "COMMIT");
  TextOf(owned, "SET client_encoding TO LATIN1");
  EXPECT_ERROR_TEXT(postgres::Adopt(owned.get()), ErrorNumber::kDatabase, HasSubstr("UTF8"));
  TextOf(owned, "SET client_encoding TO UTF8");
  EXPECT_EQ(TextOf(owned, "SELECT 1"), "1");
  EXPECT_TRUE(postgres::Adopt(owned.get())->IsOpen());
}

TEST_F(LentSession, ThatIsLostIsNotOpenedAgain) {
  const Owned owned = OpenOwned(database);
  const std::string process = TextOf(owned, "SELECT pg_backend_pid()");
  const ConnectionPtr lent = postgres::Adopt(owned.get());
  connection->OpenRecordset("SELECT pg_terminate_backend(" + process + ")");
  EXPECT_ERROR(lent->Execute("CREATE TABLE t (n integer)"), ErrorNumber::kDatabase);
  EXPECT_ERROR(lent->Begin(), ErrorNumber::kDatabase);
  lent->Close();
  EXPECT_EQ(PQstatus(owned.get()), CONNECTION_BAD);
}

TEST_F(LentSession, IsAConnectionOfAProgramInC) {
  const Owned owned = OpenOwned(database);
  kestrel_library* library = nullptr;
  kestrel_handle lent = 0;
  kestrel_handle rows = 0;
  kestrel_text row{};
  ASSERT_EQ(kestrel_library_open(nullptr, &library), KESTREL_OK);
  ASSERT_EQ(kestrel_connection_adopt_postgresql(library, owned.get(), &lent), KESTREL_OK);
  ASSERT_EQ(kestrel_connection_query(library, lent, KESTREL_TEXT("SELECT 'Köln'"), nullptr, 0, &rows),
            KESTREL_OK);
  ASSERT_EQ(kestrel_recordset_row(library, rows, &row, 1), KESTREL_OK);
  EXPECT_EQ(std::string(row.data, row.length), "Köln");
  // Also without kestrel_connection_close.
  EXPECT_EQ(kestrel_library_close(library), KESTREL_OK);
  EXPECT_EQ(TextOf(owned, "SELECT 1"), "1");
}

}  // namespace kestrel
