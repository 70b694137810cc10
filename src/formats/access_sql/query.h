// Queries in the SQL of Access, run over tables that somebody else reads.
//
//   class MyTables final : public access_sql::QueryTables { ... };
//   access_sql::Query query(tables, *tables.Find("Umsatz"));
//   const std::unique_ptr<access_sql::QueryRows> rows = query.Run();
//   for (std::size_t row = 0; row < rows->RowCount(); ++row) { rows->GoTo(row); Use(rows->Text(0)); }
//
// Selects, joins, unions, groups and queries over queries are run, and the functions that query_functions.h
// lists; what is not is refused with the reason. All texts are UTF-8. One thread at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/access_sql/query_plan.h"
#include "formats/access_sql/query_rows.h"
#include "formats/access_sql/query_tables.h"

namespace kestrel::access_sql {

class Query {
 public:
  // Reads the query and those it is built on, but no row. The tables must outlive this. Raises 3000, naming the
  // query, where it cannot be run here; a query with parameters is refused with all their names.
  Query(const QueryTables& tables, const QueryObject& query);

  std::vector<std::string> ColumnNames() const;
  // Raises 3000, naming the query, where running it fails. The rows need neither this nor the tables any more.
  std::unique_ptr<QueryRows> Run() const;

 private:
  const QueryTables& tables_;
  std::string name_;
  QueryPlan plan_;
};

}  // namespace kestrel::access_sql
