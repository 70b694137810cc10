// What reading and writing servers costs, beside bare loops over the same driver. Started by server_sources.py,
// which starts the servers:
//
//   server_sources_bench read-odbc   SOURCE ODBC_STRING QUERY
//   server_sources_bench read-libpq  SOURCE CONNINFO QUERY
//   server_sources_bench insert      SOURCE RECORDS
//   server_sources_bench memory      SOURCE QUERY
//   server_sources_bench execute     SOURCE STATEMENT
//
// SOURCE is a connection string of the component. Reading is measured in CPU seconds of this process,
// inserting in records a second.
#include <libpq-fe.h>
#include <sql.h>
#include <sqlext.h>
#include <sys/resource.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cpu_time.h"
#include "kestrel/open_connection.h"
#include "result_line.h"

namespace {

using kestrel::bench::BestTime;
using kestrel::bench::CpuSecondsOf;

constexpr int kRounds = 5;

struct Totals {
  std::size_t rows = 0;
  std::size_t bytes = 0;
};

Totals ReadThroughComponent(kestrel::Connection& connection, const std::string& query) {
  Totals totals;
  const kestrel::RecordsetPtr rows = connection.OpenRecordset(query);
  const std::size_t columns = rows->ColumnCount();
  for (; !rows->IsEof(); rows->MoveNext()) {
    for (std::size_t column = 0; column < columns; ++column) totals.bytes += rows->TextAt(column).size();
    ++totals.rows;
  }
  return totals;
}

// --- ODBC ------------------------------------------------------------------------------------------

void Require(SQLRETURN result, const char* what) {
  if (SQL_SUCCEEDED(result)) return;
  std::fprintf(stderr, "ODBC: %s failed\n", what);
  std::exit(1);
}

SQLPOINTER AsPointer(std::uintptr_t number) { return reinterpret_cast<SQLPOINTER>(number); }

class BareOdbc {
 public:
  explicit BareOdbc(const std::string& connection_string) {
    Require(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_), "environment");
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC3), 0);
    Require(SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_), "connection");
    std::string text = connection_string;
    Require(SQLDriverConnect(connection_, nullptr, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS, nullptr, 0,
                             nullptr, SQL_DRIVER_NOPROMPT),
            "login");
  }

  // Every column as text, bound for 200 rows at a time.
  Totals Read(std::string query) {
    constexpr std::size_t kRows = 200;
    constexpr std::size_t kCell = 256;
    SQLHSTMT statement = nullptr;
    Require(SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement), "statement");
    Require(SQLExecDirect(statement, reinterpret_cast<SQLCHAR*>(query.data()), SQL_NTS), "query");
    SQLSMALLINT columns = 0;
    SQLNumResultCols(statement, &columns);
    SQLULEN fetched = 0;
    SQLSetStmtAttr(statement, SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(kRows), 0);
    SQLSetStmtAttr(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
    std::vector<std::vector<char>> cells(static_cast<std::size_t>(columns), std::vector<char>(kRows * kCell));
    std::vector<std::vector<SQLLEN>> lengths(static_cast<std::size_t>(columns), std::vector<SQLLEN>(kRows));
    for (SQLSMALLINT i = 0; i < columns; ++i) {
      const auto column = static_cast<std::size_t>(i);
      SQLBindCol(statement, static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR, cells[column].data(), kCell,
                 lengths[column].data());
    }
    Totals totals;
    while (SQL_SUCCEEDED(SQLFetch(statement))) {
      for (SQLULEN row = 0; row < fetched; ++row) {
        for (const auto& column : lengths) {
          if (column[row] > 0) totals.bytes += static_cast<std::size_t>(column[row]);
        }
      }
      totals.rows += fetched;
    }
    SQLFreeHandle(SQL_HANDLE_STMT, statement);
    return totals;
  }

  ~BareOdbc() {
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  BareOdbc(const BareOdbc&) = delete;
  BareOdbc& operator=(const BareOdbc&) = delete;

 private:
  SQLHENV environment_ = nullptr;
  SQLHDBC connection_ = nullptr;
};

// --- libpq -----------------------------------------------------------------------------------------

using Session = std::unique_ptr<PGconn, decltype(&PQfinish)>;
using Answer = std::unique_ptr<PGresult, decltype(&PQclear)>;

Session Login(const std::string& conninfo) {
  Session session(PQconnectdb(conninfo.c_str()), &PQfinish);
  if (PQstatus(session.get()) == CONNECTION_OK) return session;
  std::fprintf(stderr, "%s", PQerrorMessage(session.get()));
  std::exit(1);
}

// Row by row, as nothing else keeps memory small.
Totals BareLibpq(PGconn* session, const std::string& query) {
  Totals totals;
  PQsendQuery(session, query.c_str());
  PQsetSingleRowMode(session);
  while (const Answer answer{PQgetResult(session), &PQclear}) {
    const int rows = PQntuples(answer.get());
    const int columns = PQnfields(answer.get());
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < columns; ++column) {
        totals.bytes += std::string_view(PQgetvalue(answer.get(), row, column)).size();
      }
    }
    totals.rows += static_cast<std::size_t>(rows);
  }
  return totals;
}

// --- Comparisons -----------------------------------------------------------------------------------

void CompareReading(const char* driver, const std::string& source, const std::string& query,
                    const std::function<Totals()>& bare) {
  const kestrel::ConnectionPtr connection = kestrel::OpenConnection(source);
  BestTime bare_time, own_time;
  Totals bare_totals, own_totals;
  for (int round = 0; round < kRounds; ++round) {
    bare_time.Add(CpuSecondsOf([&] { bare_totals = bare(); }));
    own_time.Add(CpuSecondsOf([&] { own_totals = ReadThroughComponent(*connection, query); }));
  }
  if (bare_totals.rows != own_totals.rows) {
    std::fprintf(stderr, "%zu rows bare, %zu through the component\n", bare_totals.rows, own_totals.rows);
    std::exit(1);
  }
  std::printf("%s, %zu rows, best of %d, CPU seconds: bare %.3f, component %.3f = %.2f x\n", driver,
              own_totals.rows, kRounds, bare_time.seconds(), own_time.seconds(),
              own_time.seconds() / bare_time.seconds());
  kestrel::bench::Report({.what = std::string("reading through ") + driver + " / a bare loop",
                          .ours = kestrel::bench::Seconds(own_time.seconds()),
                          .naive = kestrel::bench::Seconds(bare_time.seconds()),
                          .ratio = own_time.seconds() / bare_time.seconds(),
                          .limit = 1.3});
}

long PeakMemoryMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024;
}

// Everything else in this process is the same whatever is read.
void ShowMemory(const std::string& source, const std::string& query) {
  const Totals totals = ReadThroughComponent(*kestrel::OpenConnection(source), query);
  std::printf("%zu rows, %zu MiB of text: peak memory of the program %ld MiB\n", totals.rows,
              totals.bytes >> 20, PeakMemoryMiB());
}

double RecordsASecond(int records, const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return records / std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void CompareInserting(const std::string& source, int records) {
  const kestrel::ConnectionPtr connection = kestrel::OpenConnection(source);
  connection->Execute("DROP TABLE IF EXISTS bench_insert");
  connection->Execute(
      "CREATE TABLE bench_insert (nr bigint PRIMARY KEY, a varchar(50), b varchar(50), c varchar(50))");
  const auto insert =
      connection->Prepare("INSERT INTO bench_insert VALUES (?, ?, ?, ?) ON CONFLICT (nr) DO NOTHING");
  std::int64_t number = 0;
  const auto store = [&](int count) {
    for (int i = 0; i < count; ++i) {
      insert->BindInteger(0, ++number);
      insert->BindText(1, "Müller GmbH");
      insert->BindText(2, "Hauptstraße 5");
      insert->BindText(3, "Köln");
      insert->Execute();
    }
  };
  const int committed_records = records / 20;
  const double committed = RecordsASecond(committed_records, [&] { store(committed_records); });
  const double grouped = RecordsASecond(records, [&] {
    connection->Begin();
    store(records);
    connection->Commit();
  });
  std::printf("inserts a second: committed one by one %.0f, in one transaction %.0f = %.1f x\n", committed,
              grouped, grouped / committed);
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (words.size() == 4 && words[0] == "read-odbc") {
    BareOdbc bare(words[2]);
    CompareReading("ODBC", words[1], words[3], [&] { return bare.Read(words[3]); });
  } else if (words.size() == 4 && words[0] == "read-libpq") {
    const Session session = Login(words[2]);
    CompareReading("libpq", words[1], words[3], [&] { return BareLibpq(session.get(), words[3]); });
  } else if (words.size() == 3 && words[0] == "insert") {
    CompareInserting(words[1], std::atoi(words[2].c_str()));
  } else if (words.size() == 3 && words[0] == "memory") {
    ShowMemory(words[1], words[2]);
  } else if (words.size() == 3 && words[0] == "execute") {
    kestrel::OpenConnection(words[1])->Execute(words[2]);
  } else {
    std::fprintf(stderr, "see server_sources.py\n");
    return 2;
  }
}
