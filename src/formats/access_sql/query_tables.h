// What queries read: tables and further queries, wherever they come from.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "formats/access_sql/sql_syntax.h"
#include "kestrel/runtime_error.h"

namespace kestrel::access_sql {

// What a value of a column means; the database that runs queries knows whole and real numbers, texts and bytes
// only.
enum class ValueType {
  kUnknown,  // as the value turns out
  kNull,     // nothing but null, which fits every type
  kText,
  kWhole,
  kReal,
  kCurrency,  // four digits behind the point
  kDecimal,
  kTruth,  // -1 and 0
  kDate,   // days since 30.12.1899
  kBytes,
};

struct ResultColumn {
  std::string name;
  ValueType type = ValueType::kUnknown;
  // Why a table's column cannot be read; * does not mean it, and a query that names it raises this.
  std::optional<RuntimeError> unreadable = {};
};

struct BytesOfCell {
  std::string_view bytes;
};
// Null, a whole number (a truth value is -1 or 0), a real number (a date is its serial), a text (UTF-8; also
// decimals of more digits than a real number has) or bytes.
using QueryCell = std::variant<std::monostate, std::int64_t, double, std::string_view, BytesOfCell>;

// Walks the rows of a table.
class TableRows {
 public:
  TableRows() = default;
  TableRows(const TableRows&) = delete;
  TableRows& operator=(const TableRows&) = delete;
  virtual ~TableRows() = default;

  // Steps to the next row, to the first one at first; false behind the last.
  virtual bool Next() = 0;
  // Of the current row, of a column that can be read. Views live until the next row.
  virtual QueryCell Cell(std::size_t column) = 0;
  // Why there are fewer rows than the table had; none where all are there.
  virtual std::optional<RuntimeError> Loss() const = 0;
};

// A table or query, as a name leads to it.
struct QueryObject {
  std::string name;     // as the user knows it
  std::int32_t id = 0;  // one for each object, whatever names lead to it
  bool is_query = false;
};

// Everything may raise what reading raises.
class QueryTables {
 public:
  QueryTables() = default;
  QueryTables(const QueryTables&) = delete;
  QueryTables& operator=(const QueryTables&) = delete;
  virtual ~QueryTables() = default;

  // None where nothing goes by that name. Case does not count (access_text.h).
  virtual std::optional<QueryObject> Find(std::string_view name) const = 0;
  // Of a table. Those that cannot be read stand last.
  virtual std::vector<ResultColumn> Columns(const QueryObject& table) const = 0;
  virtual std::unique_ptr<TableRows> Open(const QueryObject& table) const = 0;
  // Of a query.
  virtual std::unique_ptr<SelectStatement> Statement(const QueryObject& query) const = 0;
};

}  // namespace kestrel::access_sql
