// What the two databases tell of a table, in one form.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "targets/table_reading.h"

namespace kestrel::host {

struct TableCatalog {
  ReadTable read;                 // without what is judged by all of it
  std::vector<std::string> keys;  // the columns of the primary key
  // Those that alone are unique and never null, by whatever index or constraint.
  std::vector<std::string> unique_columns = {};
  // Columns of whole numbers take other values as well, as SQLite's do.
  bool takes_any_value = false;
  // Whether the primary key, where it is one such column, takes none.
  bool has_whole_key = false;
};

// Errors as of ReadTableOf.
TableCatalog ReadSqliteTable(Connection& connection, std::string_view name);
TableCatalog ReadPostgresTable(Connection& connection, std::string_view name);

[[noreturn]] void RefuseTable(std::string_view name, const std::string& reason);

// The constant that a default is, without quotes and casts; none for an expression.
std::optional<std::string> ConstantOf(std::string_view default_text);

// A name as names are compared: in capital letters and digits alone.
std::string FoldedName(std::string_view name);

// Of the columns of another table, each with whether it holds texts, the one that tells a person what a row is; empty for
// none.
std::string LabelAmong(const std::vector<std::pair<std::string, bool>>& columns);

}  // namespace kestrel::host
