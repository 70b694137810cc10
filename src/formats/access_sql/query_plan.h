// What is to be done to run a query: tables to load, then selects to run one after the other, each into a
// table of its own. All names are made here (t0, q1, c2), so that nothing of the file stands in SQL as a name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/access_sql/query_tables.h"

namespace kestrel::access_sql {

// A table; its column i becomes "c" + i, where it is used.
struct LoadStep {
  std::string sql_name;
  QueryObject table;
  std::vector<ResultColumn> columns;
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

}  // namespace kestrel::access_sql
