// What is to be done to run a query: tables to load, then selects to run one after the other, each into a
// table of its own. All names are made here (t0, q1, c2), so that nothing of the file stands in SQL as a name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/access/table_definition.h"

namespace kestrel::access {

// What a value of a column means; the database that runs the plan knows whole and real numbers, texts and
// bytes only.
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
  bool left_out = false;  // of a stored table: cannot be read, and * does not mean it
};

// A stored table; its column i becomes "c" + i, where it is used.
struct LoadStep {
  std::string sql_name;
  std::string table;  // as the user knows it
  TablePlace place;
  std::vector<ResultColumn> columns;  // those that are left out stand last
  std::vector<bool> used;
};

// A select whose rows go into a new table of columns c0, c1 ...
struct SelectStep {
  std::string sql_name;
  std::string sql;
  std::vector<ResultColumn> columns;
  // Further columns behind these: what the rows are ordered by. TOP keeps rows that are equal in them.
  std::vector<ValueType> order_columns;
  std::optional<int> top;
  bool top_percent = false;
};

struct QueryPlan {
  std::vector<LoadStep> loads;
  std::vector<SelectStep> selects;  // the last one is the result
};

}  // namespace kestrel::access
