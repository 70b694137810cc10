// Rows that stand behind all others of an SQLite table, with consecutive keys, as those of a log do.
//
// SQLite looks for each key that it is given, as a row may have it already; one that it gives itself is the next behind the
// last, which it need not look for. So only the first row of a statement comes with its key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/absent_values.h"

namespace kestrel::host {

class AppendedRows {
 public:
  // `table`: its name and columns, as "Zeilen (Nr, Kopf, Spalte0)": the key, another column that rows appended together
  // have in common, and `columns` in all. `connection` outlives this object.
  AppendedRows(Connection& connection, std::string table, std::size_t columns);

  // Within the transaction in which they are stored: whether rows with this key and those behind it come after all
  // others, and SQLite would give them these keys. Error 3000.
  bool Follow(std::int64_t first_key);
  // The statement for so many rows, 2 to RowInserts::kMostRows. Its parameters are the columns of the first row, then
  // those of the other rows without the first two. Made at its first use. Error 3000.
  Statement& Of(std::size_t rows);

 private:
  bool GivesKeys();

  Connection& connection_;
  AbsentValues& absent_;
  const std::string table_;
  const std::size_t columns_;
  const std::string name_, key_;
  std::optional<bool> gives_keys_;
  std::unique_ptr<Statement> last_key_;
  std::vector<std::unique_ptr<Statement>> statements_;  // by their rows
};

}  // namespace kestrel::host
