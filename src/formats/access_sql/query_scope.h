// Which names an expression may use, and what it becomes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "formats/access_sql/query_plan.h"
#include "formats/access_sql/sql_syntax.h"

namespace kestrel::access_sql {

// A table, query or select in brackets, under the name it has in its statement.
struct QuerySource {
  std::string name;
  std::string sql_table;
  std::string sql_alias;  // unique within the plan
  std::vector<ResultColumn> columns;
  std::optional<std::size_t> load;  // which LoadStep it reads, where it reads a stored table
};

struct QueryScope {
  std::vector<QuerySource> sources;
  const SelectStatement* select = nullptr;  // for names given to output columns
  const QueryScope* outer = nullptr;        // of the statement around a subselect
};

// SQL of a value, and what it means.
struct CompiledValue {
  std::string sql;
  ValueType type = ValueType::kUnknown;
  bool column = false;  // a bare column, which brings its own order of texts
};

// How texts are compared: without case, in dictionary order.
inline constexpr const char* kCollation = " COLLATE ACCESS";

// The value, compared, grouped and ordered in Access's way.
inline std::string Collated(const CompiledValue& value) {
  const bool text = value.type == ValueType::kText || value.type == ValueType::kUnknown;
  return text && !value.column ? value.sql + kCollation : value.sql;
}

// Where an expression meets the statements around it.
class QueryContext {
 public:
  virtual ~QueryContext() = default;
  // Notes that a column is read.
  virtual void UseColumn(const QuerySource& source, std::size_t column) = 0;
  // Notes a name that nothing in the database goes by: a parameter.
  virtual void NoteParameter(const std::string& name) = 0;
  // SQL of a select within an expression, without brackets, and the type of its first column.
  virtual CompiledValue Subselect(const SelectStatement& select, const QueryScope& outer) = 0;
};

}  // namespace kestrel::access_sql
