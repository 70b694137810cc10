// A table of the database whose text indexes are in memory: a virtual table of the same name in SQLite's TEMP
// schema, which every statement of this connection finds before the one of the file. It passes changes on to
// the file's table and remembers in which rows the texts stand; a look-up by such a text, or by the row id,
// reads just the rows that it can be, everything else reads the table from end to end.
//
// Invariants
//  1. The file's table holds everything; nothing is lost when this one goes.
//  2. Every row of the file's table that holds a text in an indexed column is among the candidates of
//     that text, as long as rows change through this connection alone; else it is hidden. Rows are never
//     forgotten, so that a change that is rolled back leaves no gap.
//  3. SQLite compares each row it is given once more with what was asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/data/providers/sqlite/database.h"
#include "platform/data/providers/sqlite/row_finder.h"

struct sqlite3_value;

namespace kestrel::sqlite {

struct TableColumn {
  std::string name;
  std::string type;
  bool is_row_id = false;  // the INTEGER PRIMARY KEY
  bool is_indexed = false;
};

// "name", for use in a statement.
std::string Quoted(std::string_view name);

class MemoryIndexedTable {
 public:
  // `columns`: all of the table, in their order, one of them the row id. Error 3000. `database` outlives this.
  MemoryIndexedTable(const Database& database, std::string name, std::vector<TableColumn> columns);

  // Remembers the texts of the rows there are; false where there are more than `most_rows`. Error 3000.
  bool Load(std::int64_t most_rows);
  // Puts the virtual table before the file's one. Error 3000.
  static void Show(const std::shared_ptr<MemoryIndexedTable>& table);
  // Takes it away, unless it is gone already, as after the rollback of the transaction that showed it. Error
  // 3000, also where it is being read.
  void Hide();
  // Once it is hidden for good: the database lets go of its share of this object.
  void Unregister();
  // Whether one for a table of this name is registered with the database.
  static bool IsRegistered(const Database& database, std::string_view name);

  std::size_t RowCount() const { return finder_.RowCount(); }

  // --- For the virtual table ------------------------------------------------------------------------

  enum class Change { kInsert, kReplace, kUpdate, kDelete };

  const std::vector<TableColumn>& Columns() const { return columns_; }
  const RowFinder& Finder() const { return finder_; }
  // Runs a change of the file's table: of the row with this id unless it is an insert, to `values`, one a
  // column. SQLite's result; the reason is in the handle.
  int Apply(Change change, sqlite3_value* row_id, sqlite3_value** values);
  // All rows, or the one row whose id is bound; columns from 1 on, behind the row id. Error 3000.
  StatementHandle ScanAll() const;
  StatementHandle TakeFetch();
  void GiveBackFetch(StatementHandle fetch);
  const Database& Owner() const { return database_; }

 private:
  std::string Select() const;
  void Remember(std::int64_t row_id, sqlite3_value** values);

  const Database& database_;
  std::string name_;
  std::vector<TableColumn> columns_;
  RowFinder finder_;
  StatementHandle changes_[4];
  std::vector<StatementHandle> idle_fetches_;
};

}  // namespace kestrel::sqlite
