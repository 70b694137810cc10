#include "formats/access_sql/query.h"

#include "formats/access_sql/query_compiler.h"
#include "formats/access_sql/sql_error.h"

namespace kestrel::access_sql {

Query::Query(const QueryTables& tables, const QueryObject& query)
    : tables_(tables), name_(query.name), plan_(QueryCompiler(tables).Compile(query)) {}

std::vector<std::string> Query::ColumnNames() const {
  std::vector<std::string> names;
  for (const ResultColumn& column : plan_.selects.back().columns) names.push_back(column.name);
  return names;
}

std::unique_ptr<QueryRows> Query::Run() const {
  try {
    return std::make_unique<QueryRows>(tables_, plan_);
  } catch (const RuntimeError& error) {
    throw QueryError(name_, error.Description());
  }
}

}  // namespace kestrel::access_sql
