#include "platform/data/providers/sqlite/virtual_table.h"

#include <sqlite3.h>

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "platform/base/runtime_error.h"
#include "platform/data/providers/sqlite/memory_indexed_table.h"

namespace kestrel::sqlite {

namespace {

using TablePtr = std::shared_ptr<MemoryIndexedTable>;

// How SQLite tells Filter what BestIndex has chosen.
constexpr int kAllRows = 0;
constexpr int kOneRow = 1;
constexpr int kFirstTextColumn = 2;

struct VirtualTable : sqlite3_vtab {
  TablePtr table;
};

struct Cursor : sqlite3_vtab_cursor {
  // Reads all rows, or fetches one row after the other.
  StatementHandle scan;
  StatementHandle fetch;
  std::vector<std::int64_t> rows;
  std::size_t next = 0;
  bool at_end = true;

  sqlite3_stmt* Current() const { return scan != nullptr ? scan.get() : fetch.get(); }
};

VirtualTable& Of(sqlite3_vtab* table) { return static_cast<VirtualTable&>(*table); }
Cursor& Of(sqlite3_vtab_cursor* cursor) { return static_cast<Cursor&>(*cursor); }
MemoryIndexedTable& TableOf(sqlite3_vtab_cursor* cursor) { return *Of(cursor->pVtab).table; }

// No exception may pass through SQLite's own calls.
template <class Step>
int Guard(sqlite3_vtab* table, Step&& step) {
  try {
    return step();
  } catch (const RuntimeError& error) {
    table->zErrMsg = sqlite3_mprintf("%s", error.Description().c_str());
    return SQLITE_ERROR;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

// The result of a statement run for the virtual table, with its reason.
int Told(sqlite3_vtab* table, int result) {
  if (result == SQLITE_OK) return result;
  table->zErrMsg = sqlite3_mprintf("%s", sqlite3_errmsg(Of(table).table->Owner().Handle()));
  return result & 0xFF;
}

int Connect(sqlite3* handle, void* module, int, const char* const*, sqlite3_vtab** made, char** reason) {
  try {
    const TablePtr& table = *static_cast<TablePtr*>(module);
    std::string sql = "CREATE TABLE x (";
    for (std::size_t i = 0; i < table->Columns().size(); ++i) {
      const TableColumn& column = table->Columns()[i];
      sql += (i == 0 ? "" : ", ") + Quoted(column.name) + " " + column.type;
    }
    const int result = sqlite3_declare_vtab(handle, (sql + ")").c_str());
    if (result != SQLITE_OK) {
      *reason = sqlite3_mprintf("%s", sqlite3_errmsg(handle));
      return result;
    }
    sqlite3_vtab_config(handle, SQLITE_VTAB_CONSTRAINT_SUPPORT, 1);
    auto vtab = std::make_unique<VirtualTable>();
    vtab->table = table;
    *made = vtab.release();
    return SQLITE_OK;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

int Disconnect(sqlite3_vtab* table) {
  const std::unique_ptr<VirtualTable> owner(&Of(table));
  return SQLITE_OK;
}

int BestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
  const MemoryIndexedTable& indexed = *Of(table).table;
  info->idxNum = kAllRows;
  info->estimatedRows = static_cast<sqlite3_int64>(indexed.RowCount()) + 1;
  info->estimatedCost = 1e3 + static_cast<double>(info->estimatedRows);
  for (int i = 0; i < info->nConstraint; ++i) {
    const auto& constraint = info->aConstraint[i];
    if (constraint.usable == 0 || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ) continue;
    const auto column = static_cast<std::size_t>(constraint.iColumn);
    const bool one_row = constraint.iColumn < 0 || indexed.Columns()[column].is_row_id;
    // Only texts that are equal byte by byte are found again.
    const bool by_text = !one_row && indexed.Columns()[column].is_indexed &&
                         std::string_view(sqlite3_vtab_collation(info, i)) == "BINARY";
    if (!one_row && !by_text) continue;
    for (int k = 0; k < i; ++k) info->aConstraintUsage[k].argvIndex = 0;
    info->aConstraintUsage[i].argvIndex = 1;
    info->idxNum = one_row ? kOneRow : kFirstTextColumn + constraint.iColumn;
    info->estimatedRows = 1;
    info->estimatedCost = one_row ? 5 : 10;
    if (one_row) return SQLITE_OK;
  }
  return SQLITE_OK;
}

int Open(sqlite3_vtab* table, sqlite3_vtab_cursor** made) {
  return Guard(table, [&] {
    *made = std::make_unique<Cursor>().release();
    return SQLITE_OK;
  });
}

int Close(sqlite3_vtab_cursor* cursor) {
  const std::unique_ptr<Cursor> owner(&Of(cursor));
  if (owner->fetch == nullptr) return SQLITE_OK;
  return Guard(cursor->pVtab, [&] {
    TableOf(cursor).GiveBackFetch(std::move(owner->fetch));
    return SQLITE_OK;
  });
}

int Next(sqlite3_vtab_cursor* base) {
  return Guard(base->pVtab, [&] {
    Cursor& cursor = Of(base);
    if (cursor.scan != nullptr) {
      const int result = sqlite3_step(cursor.scan.get());
      cursor.at_end = result != SQLITE_ROW;
      return Told(base->pVtab, cursor.at_end ? sqlite3_reset(cursor.scan.get()) : SQLITE_OK);
    }
    while (cursor.next < cursor.rows.size()) {
      if (cursor.fetch == nullptr) cursor.fetch = TableOf(base).TakeFetch();
      sqlite3_reset(cursor.fetch.get());
      sqlite3_bind_int64(cursor.fetch.get(), 1, cursor.rows[cursor.next++]);
      if (sqlite3_step(cursor.fetch.get()) == SQLITE_ROW) {
        cursor.at_end = false;
        return SQLITE_OK;
      }
      const int result = sqlite3_reset(cursor.fetch.get());
      if (result != SQLITE_OK) return Told(base->pVtab, result);
    }
    cursor.at_end = true;
    return SQLITE_OK;
  });
}

int Filter(sqlite3_vtab_cursor* base, int plan, const char*, int, sqlite3_value** values) {
  const int result = Guard(base->pVtab, [&] {
    Cursor& cursor = Of(base);
    cursor.scan.reset();
    cursor.rows.clear();
    cursor.next = 0;
    const int type = plan == kAllRows ? SQLITE_BLOB : sqlite3_value_type(values[0]);
    if (type == SQLITE_NULL) return SQLITE_OK;  // nothing equals it
    if (plan == kOneRow && type == SQLITE_INTEGER) {
      cursor.rows.push_back(sqlite3_value_int64(values[0]));
    } else if (plan >= kFirstTextColumn && type == SQLITE_TEXT) {
      const auto column = static_cast<std::size_t>(plan - kFirstTextColumn);
      TableOf(base).Finder().Find(column, TextOf(values[0]), cursor.rows);
      // A row that was stored twice is remembered twice.
      std::sort(cursor.rows.begin(), cursor.rows.end());
      cursor.rows.erase(std::unique(cursor.rows.begin(), cursor.rows.end()), cursor.rows.end());
    } else {
      // Whatever equals a value of another type: SQLite picks it out of all rows.
      cursor.scan = TableOf(base).ScanAll();
    }
    return SQLITE_OK;
  });
  return result == SQLITE_OK ? Next(base) : result;
}

int Eof(sqlite3_vtab_cursor* cursor) { return Of(cursor).at_end ? 1 : 0; }

int Column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int column) {
  sqlite3_result_value(context, sqlite3_column_value(Of(cursor).Current(), column + 1));
  return SQLITE_OK;
}

int RowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* row_id) {
  *row_id = sqlite3_column_int64(Of(cursor).Current(), 0);
  return SQLITE_OK;
}

int Update(sqlite3_vtab* base, int count, sqlite3_value** values, sqlite3_int64* row_id) {
  return Guard(base, [&] {
    using Change = MemoryIndexedTable::Change;
    MemoryIndexedTable& table = *Of(base).table;
    sqlite3* const handle = table.Owner().Handle();
    if (count == 1) return Told(base, table.Apply(Change::kDelete, values[0], nullptr));
    if (sqlite3_value_type(values[0]) != SQLITE_NULL) {
      return Told(base, table.Apply(Change::kUpdate, values[0], values + 2));
    }
    const bool replace = sqlite3_vtab_on_conflict(handle) == SQLITE_REPLACE;
    const int result =
        Told(base, table.Apply(replace ? Change::kReplace : Change::kInsert, nullptr, values + 2));
    if (result == SQLITE_OK) *row_id = sqlite3_last_insert_rowid(handle);
    return result;
  });
}

sqlite3_module MakeModule() {
  sqlite3_module module{};
  module.iVersion = 1;
  module.xCreate = Connect;
  module.xConnect = Connect;
  module.xBestIndex = BestIndex;
  module.xDisconnect = Disconnect;
  module.xDestroy = Disconnect;
  module.xOpen = Open;
  module.xClose = Close;
  module.xFilter = Filter;
  module.xNext = Next;
  module.xEof = Eof;
  module.xColumn = Column;
  module.xRowid = RowId;
  module.xUpdate = Update;
  return module;
}

void FreeShare(void* share) { const std::unique_ptr<TablePtr> owner(static_cast<TablePtr*>(share)); }

}  // namespace

std::string_view TextOf(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (text == nullptr) throw std::bad_alloc();
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

void RegisterModule(const std::string& name, const TablePtr& table) {
  static const sqlite3_module kModule = MakeModule();
  // Freed by SQLite, also where it refuses the module.
  auto share = std::make_unique<TablePtr>(table);
  const Database& database = table->Owner();
  if (sqlite3_create_module_v2(database.Handle(), name.c_str(), &kModule, share.release(), FreeShare) !=
      SQLITE_OK) {
    database.Fail();
  }
}

bool HasModule(const Database& database, const std::string& name) {
  const StatementHandle modules = database.Compile("SELECT 1 FROM pragma_module_list WHERE name = ?1", false);
  sqlite3_bind_text64(modules.get(), 1, name.data(), name.size(), SQLITE_STATIC, SQLITE_UTF8);
  return sqlite3_step(modules.get()) == SQLITE_ROW;
}

void DropModule(const Database& database, const std::string& name) {
  sqlite3_create_module_v2(database.Handle(), name.c_str(), nullptr, nullptr, nullptr);
}

}  // namespace kestrel::sqlite
