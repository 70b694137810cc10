#include "platform/data/providers/sqlite/sqlite_deferred_indexes.h"

#include <sqlite3.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/base/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel::sqlite {

namespace {

struct Index {
  std::string name;
  std::string statement;  // that makes it, unless it is there
};

// Undone unless kept.
class Savepoint {
 public:
  explicit Savepoint(const Database& database) : database_(database) {
    database_.Run("SAVEPOINT kestrel_defer");
  }
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;
  ~Savepoint() {
    // Where it is gone, so is the whole transaction.
    if (!kept_) Trap([this] { database_.Run("ROLLBACK TO kestrel_defer"); }, [](const RuntimeError&) {});
    Trap([this] { database_.Run("RELEASE kestrel_defer"); }, [](const RuntimeError&) {});
  }
  void Keep() { kept_ = true; }

 private:
  const Database& database_;
  bool kept_ = false;
};

// SQLite sorts runs as large as its cache, fastest where they stay in the processor's own.
class SortingCache {
 public:
  explicit SortingCache(const Database& database) : database_(database) { database_.SetCacheSize(16 * 1024); }
  SortingCache(const SortingCache&) = delete;
  SortingCache& operator=(const SortingCache&) = delete;
  ~SortingCache() {
    Trap([this] { database_.SetCacheSize(Database::kCacheKiB); }, [](const RuntimeError&) {});
  }

 private:
  const Database& database_;
};

bool InTransaction(const Database& database) { return sqlite3_get_autocommit(database.Handle()) == 0; }

// Lets go of a table for good where no transaction is open, whose rollback would bring it back, and nobody
// reads it.
void TryToRetire(const Database& database, std::shared_ptr<MemoryIndexedTable>& table) {
  if (table == nullptr || InTransaction(database)) return;
  Trap(
      [&] {
        table->Hide();
        table->Unregister();
        table.reset();
      },
      [](const RuntimeError&) {});
}

// Lets go of it now or as soon as possible: before a statement, or with the database.
void Retire(Database& database, std::shared_ptr<MemoryIndexedTable> table) {
  TryToRetire(database, table);
  if (table == nullptr) return;
  const void* const owner = table.get();
  database.SetHook(owner, Database::Hook::kBeforeEverything,
                   [&database, table = std::move(table)]() mutable { TryToRetire(database, table); });
}

// Calls `each` with the statement for every row of a query about `name`.
template <class Each>
void ForEachRow(const Database& database, std::string_view sql, std::string_view name, Each&& each) {
  const StatementHandle rows = database.Compile(sql, false);
  sqlite3_bind_text64(rows.get(), 1, name.data(), name.size(), SQLITE_STATIC, SQLITE_UTF8);
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(rows.get())) == SQLITE_ROW) each(rows.get());
  if (result != SQLITE_DONE) database.Fail();
}

bool IsReading(const Database& database) {
  sqlite3_stmt* statement = nullptr;
  while ((statement = sqlite3_next_stmt(database.Handle(), statement)) != nullptr) {
    if (sqlite3_stmt_busy(statement) != 0) return true;
  }
  return false;
}

std::string TextAt(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text == nullptr ? std::string() : std::string(text);
}

std::vector<TableColumn> ColumnsOf(const Database& database, std::string_view table) {
  std::vector<TableColumn> columns;
  int key_columns = 0;
  ForEachRow(database, "SELECT name, type, pk FROM pragma_table_info(?1, 'main')", table,
             [&](sqlite3_stmt* row) {
               TableColumn column{TextAt(row, 0), TextAt(row, 1)};
               const bool is_key = sqlite3_column_int(row, 2) != 0;
               column.is_row_id = is_key && EqualsIgnoringCase(column.type, "INTEGER");
               key_columns += is_key ? 1 : 0;
               columns.push_back(std::move(column));
             });
  if (key_columns != 1) {
    for (TableColumn& column : columns) column.is_row_id = false;
  }
  return columns;
}

bool HoldsText(const TableColumn& column) {
  const std::string type = UpperCase(column.type);
  const auto says = [&type](const char* word) { return type.find(word) != std::string::npos; };
  return !says("INT") && (says("CHAR") || says("CLOB") || says("TEXT"));
}

// The column of an index of one whole text column, compared byte by byte; -1 for any other index.
int OnlyColumnOf(const Database& database, std::string_view index, const std::vector<TableColumn>& columns) {
  int count = 0, only = -1;
  ForEachRow(database, "SELECT cid, coll FROM pragma_index_xinfo(?1, 'main') WHERE key = 1", index,
             [&](sqlite3_stmt* row) {
               ++count;
               if (TextAt(row, 1) == "BINARY") only = sqlite3_column_int(row, 0);
             });
  return count == 1 && only >= 0 && HoldsText(columns[static_cast<std::size_t>(only)]) ? only : -1;
}

// The indexes that can be deferred; marks their columns.
std::vector<Index> DeferrableIndexes(const Database& database, std::string_view table,
                                     std::vector<TableColumn>& columns) {
  constexpr std::string_view kCreate = "CREATE INDEX ";
  std::vector<Index> indexes;
  ForEachRow(
      database,
      "SELECT list.name, made.sql FROM pragma_index_list(?1, 'main') AS list JOIN main.sqlite_schema AS made "
      "ON made.type = 'index' AND made.name = list.name "
      "WHERE list.\"unique\" = 0 AND list.origin = 'c' AND list.partial = 0",
      table, [&](sqlite3_stmt* row) {
        Index index{TextAt(row, 0), TextAt(row, 1)};
        const int column = OnlyColumnOf(database, index.name, columns);
        if (column < 0 || !index.statement.starts_with(kCreate)) return;
        index.statement.insert(kCreate.size(), "IF NOT EXISTS ");
        columns[static_cast<std::size_t>(column)].is_indexed = true;
        indexes.push_back(std::move(index));
      });
  return indexes;
}

}  // namespace

std::unique_ptr<DeferredIndexes> SqliteDeferredIndexes::Make(const std::shared_ptr<Database>& database,
                                                             std::string_view table, std::int64_t most_rows) {
  std::vector<TableColumn> columns = ColumnsOf(*database, table);
  const bool has_row_id =
      std::any_of(columns.begin(), columns.end(), [](const auto& c) { return c.is_row_id; });
  const std::vector<Index> indexes = DeferrableIndexes(*database, table, columns);
  // What is being read would be broken off; and an earlier table in memory may still wait for the end of its
  // transaction.
  if (!has_row_id || indexes.empty() || IsReading(*database) ||
      MemoryIndexedTable::IsRegistered(*database, table)) {
    return nullptr;
  }

  std::unique_ptr<DeferredIndexes> deferred;
  Savepoint savepoint(*database);
  const auto in_memory =
      std::make_shared<MemoryIndexedTable>(*database, std::string(table), std::move(columns));
  if (!in_memory->Load(std::min<std::int64_t>(most_rows, RowFinder::kMostRows))) return nullptr;
  std::vector<std::string> statements;
  for (const Index& index : indexes) {
    database->Run(("DROP INDEX main." + Quoted(index.name)).c_str());
    statements.push_back(index.statement);
  }
  deferred =
      std::make_unique<SqliteDeferredIndexes>(database, in_memory, std::string(table), std::move(statements));
  MemoryIndexedTable::Show(in_memory);
  savepoint.Keep();
  return deferred;
}

SqliteDeferredIndexes::SqliteDeferredIndexes(std::shared_ptr<Database> database,
                                             std::shared_ptr<MemoryIndexedTable> table, std::string table_name,
                                             std::vector<std::string> statements)
    : database_(std::move(database)),
      table_(std::move(table)),
      table_name_(std::move(table_name)),
      statements_(std::move(statements)) {
  read_version_ = database_->Compile("PRAGMA main.data_version", true);
  version_ = DataVersion();
  database_->SetHook(this, Database::Hook::kBeforeEverything, [this] { BeforeStatement(); });
}

SqliteDeferredIndexes::~SqliteDeferredIndexes() {
  const std::lock_guard lock(database_->Mutex());
  // Whoever made the indexes makes them again before the next import.
  Trap([this] { Restore(); }, [](const RuntimeError&) {});
  read_version_.reset();
  database_->DropHook(this);
  // A record set still reads the table in memory.
  if (table_ != nullptr) Retire(*database_, std::move(table_));
}

std::int64_t SqliteDeferredIndexes::DataVersion() {
  sqlite3_step(read_version_.get());
  const std::int64_t version = sqlite3_column_int64(read_version_.get(), 0);
  sqlite3_reset(read_version_.get());
  return version;
}

bool SqliteDeferredIndexes::ChangedByOthers() {
  // Within a transaction nobody else's change shows; the cheap question is whether this is still the one in
  // which was asked last.
  if (InTransaction(*database_)) {
    std::uint32_t local = 0;
    sqlite3_file_control(database_->Handle(), "main", SQLITE_FCNTL_DATA_VERSION, &local);
    if (local == local_version_) return false;
    local_version_ = local;
  }
  return DataVersion() != version_;
}

void SqliteDeferredIndexes::BeforeStatement() {
  const bool in_transaction = InTransaction(*database_);
  if (table_ != nullptr) {
    const bool full = table_->RowCount() >= RowFinder::kMostRows && !in_transaction;
    if (!full && !ChangedByOthers()) return;
    // While a record set reads it, it cannot be hidden, but a change of others does not show either.
    Trap([this] { LeaveMemory(); }, [](const RuntimeError&) {});
  }
  // Not within a transaction, which would stay open for as long as that takes. Without the indexes queries are
  // answered all the same.
  if (table_ != nullptr || in_transaction || restored_) return;
  Trap([this] { Restore(); }, [](const RuntimeError&) {});
}

void SqliteDeferredIndexes::LeaveMemory() {
  if (table_ == nullptr) return;
  table_->Hide();
  Retire(*database_, std::move(table_));
}

void SqliteDeferredIndexes::Restore() {
  const std::lock_guard lock(database_->Mutex());
  if (statements_.empty()) return;
  LeaveMemory();
  // Once is enough for BeforeStatement, also where it fails.
  restored_ = true;
  const bool own_transaction = !InTransaction(*database_);
  try {
    const SortingCache cache(*database_);
    if (own_transaction) database_->Run("BEGIN IMMEDIATE");
    for (const std::string& statement : statements_) database_->Run(statement.c_str());
    if (own_transaction) database_->Run("COMMIT");
  } catch (const RuntimeError& error) {
    if (own_transaction && InTransaction(*database_)) {
      Trap([this] { database_->Run("ROLLBACK"); }, [](const RuntimeError&) {});
    }
    throw RuntimeError(error.Number(), "Die Indizes der Tabelle '" + table_name_ +
                                           "' konnten nicht angelegt werden. " + error.Description());
  }
  statements_.clear();
}

}  // namespace kestrel::sqlite
