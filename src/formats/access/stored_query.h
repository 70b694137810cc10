// The saved queries of a database. Access keeps no SQL text: a query is rows of MSysQueries, one for each
// table, column, join and condition.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "formats/access/catalog.h"
#include "formats/access_sql/sql_syntax.h"

namespace kestrel::access {

class StoredQueries {
 public:
  // Raises 3000 where MSysQueries cannot be read whole. A database without it has no queries.
  StoredQueries(const JetFilePtr& file, const Catalog& catalog);

  // The statement of a query. Raises 3000, naming the query, for one that returns no rows or that cannot be
  // run here (crosstabs, queries sent to a server) and for a piece of SQL that is not understood.
  std::unique_ptr<access_sql::SelectStatement> Statement(const CatalogEntry& query) const;

 private:
  struct Row {
    int attribute = 0;
    int flag = 0;
    std::string order;
    std::string name1;
    std::string name2;
    std::string expression;
  };
  using Rows = std::vector<Row>;

  static std::unique_ptr<access_sql::SelectStatement> SelectOf(const Rows& rows);
  static std::unique_ptr<access_sql::SelectStatement> UnionOf(const Rows& rows);
  static void AddSources(const Rows& rows, access_sql::SelectStatement& select);

  std::map<std::int32_t, Rows> rows_;  // by the query's catalog id, in the order they count in
};

}  // namespace kestrel::access
