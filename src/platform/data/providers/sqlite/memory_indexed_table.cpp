#include "platform/data/providers/sqlite/memory_indexed_table.h"

#include <sqlite3.h>

#include <utility>

#include "platform/base/runtime_error.h"
#include "platform/data/providers/sqlite/virtual_table.h"

namespace kestrel::sqlite {

namespace {

std::string ModuleOf(std::string_view table) { return "kestrel_memory_indexes_" + std::string(table); }

}  // namespace

std::string Quoted(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

MemoryIndexedTable::MemoryIndexedTable(const Database& database, std::string name,
                                       std::vector<TableColumn> columns)
    : database_(database), name_(std::move(name)), columns_(std::move(columns)) {
  const std::string table = "main." + Quoted(name_);
  std::string names, marks, sets;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string comma = i == 0 ? "" : ", ";
    const std::string mark = "?" + std::to_string(i + 1);
    names += comma + Quoted(columns_[i].name);
    marks += comma + mark;
    sets += comma + Quoted(columns_[i].name) + " = " + mark;
  }
  const std::string this_row = " WHERE rowid = ?" + std::to_string(columns_.size() + 1);
  const auto compile = [&](Change change, const std::string& sql) {
    changes_[static_cast<std::size_t>(change)] = database_.Compile(sql, true);
  };
  const std::string insert = " INTO " + table + " (" + names + ") VALUES (" + marks + ")";
  compile(Change::kInsert, "INSERT" + insert);
  compile(Change::kReplace, "INSERT OR REPLACE" + insert);
  compile(Change::kUpdate, "UPDATE " + table + " SET " + sets + this_row);
  compile(Change::kDelete, "DELETE FROM " + table + this_row);
}

std::string MemoryIndexedTable::Select() const {
  std::string sql = "SELECT rowid";
  for (const TableColumn& column : columns_) sql += ", " + Quoted(column.name);
  return sql + " FROM main." + Quoted(name_);
}

StatementHandle MemoryIndexedTable::ScanAll() const { return database_.Compile(Select(), false); }

StatementHandle MemoryIndexedTable::TakeFetch() {
  if (idle_fetches_.empty()) return database_.Compile(Select() + " WHERE rowid = ?1", true);
  StatementHandle fetch = std::move(idle_fetches_.back());
  idle_fetches_.pop_back();
  return fetch;
}

void MemoryIndexedTable::GiveBackFetch(StatementHandle fetch) {
  sqlite3_reset(fetch.get());
  idle_fetches_.push_back(std::move(fetch));
}

bool MemoryIndexedTable::Load(std::int64_t most_rows) {
  std::string sql = "SELECT rowid";
  std::vector<std::size_t> indexed;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!columns_[i].is_indexed) continue;
    sql += ", " + Quoted(columns_[i].name);
    indexed.push_back(i);
  }
  const StatementHandle rows = database_.Compile(sql + " FROM main." + Quoted(name_), false);
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(rows.get())) == SQLITE_ROW) {
    if (--most_rows < 0) return false;
    const std::uint32_t row = finder_.AddRow(sqlite3_column_int64(rows.get(), 0));
    for (std::size_t i = 0; i < indexed.size(); ++i) {
      const int column = static_cast<int>(i) + 1;
      if (sqlite3_column_type(rows.get(), column) != SQLITE_TEXT) continue;
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(rows.get(), column));
      if (text == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
      const int size = sqlite3_column_bytes(rows.get(), column);
      finder_.AddText(row, indexed[i], {text, static_cast<std::size_t>(size)});
    }
  }
  if (result != SQLITE_DONE) database_.Fail();
  return true;
}

void MemoryIndexedTable::Show(const std::shared_ptr<MemoryIndexedTable>& table) {
  RegisterModule(ModuleOf(table->name_), table);
  const std::string create =
      "CREATE VIRTUAL TABLE temp." + Quoted(table->name_) + " USING " + Quoted(ModuleOf(table->name_));
  table->database_.Run(create.c_str());
}

void MemoryIndexedTable::Hide() { database_.Run(("DROP TABLE IF EXISTS temp." + Quoted(name_)).c_str()); }

void MemoryIndexedTable::Unregister() { DropModule(database_, ModuleOf(name_)); }

bool MemoryIndexedTable::IsRegistered(const Database& database, std::string_view name) {
  return HasModule(database, ModuleOf(name));
}

void MemoryIndexedTable::Remember(std::int64_t row_id, sqlite3_value** values) {
  const std::uint32_t row = finder_.AddRow(row_id);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!columns_[i].is_indexed) continue;
    // A number is stored as text in a text column.
    const int type = sqlite3_value_type(values[i]);
    if (type != SQLITE_NULL && type != SQLITE_BLOB) finder_.AddText(row, i, TextOf(values[i]));
  }
}

int MemoryIndexedTable::Apply(Change change, sqlite3_value* row_id, sqlite3_value** values) {
  sqlite3_stmt* const statement = changes_[static_cast<std::size_t>(change)].get();
  if (change != Change::kDelete) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      sqlite3_bind_value(statement, static_cast<int>(i) + 1, values[i]);
    }
  }
  if (row_id != nullptr) sqlite3_bind_value(statement, static_cast<int>(columns_.size()) + 1, row_id);
  sqlite3_step(statement);
  const int result = sqlite3_reset(statement);
  if (result != SQLITE_OK || change == Change::kDelete) return result;
  std::int64_t stored = sqlite3_last_insert_rowid(database_.Handle());
  if (change == Change::kUpdate) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].is_row_id) stored = sqlite3_value_int64(values[i]);
    }
  }
  Remember(stored, values);
  return SQLITE_OK;
}

}  // namespace kestrel::sqlite
