// Runs a plan in a database of its own, which lives in memory and gives back to a temporary file what does
// not fit into its cache, and holds the result.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access_sql/query_plan.h"

namespace kestrel::access_sql {

class QueryRows {
 public:
  // Loads what the plan reads and runs it. Raises 3000 with the reason where that fails.
  QueryRows(const QueryTables& tables, const QueryPlan& plan);
  ~QueryRows();
  QueryRows(const QueryRows&) = delete;
  QueryRows& operator=(const QueryRows&) = delete;

  std::size_t RowCount() const;
  // Why the result lacks rows: a table that the query reads has lost some. None where all are there.
  const std::optional<RuntimeError>& Loss() const;
  // Makes a row (below RowCount()) the current one.
  void GoTo(std::size_t row);
  // Of the current row; `column` is below the number of columns. The text follows value_text.h and lives
  // until the next GoTo or until the same column is asked again.
  bool IsNull(std::size_t column) const;
  std::string_view Text(std::size_t column);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kestrel::access_sql
