// Turns a saved query, and the queries it is built on, into a plan.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "formats/access/catalog.h"
#include "formats/access/stored_query.h"
#include "formats/access_sql/expression_compiler.h"
#include "formats/access_sql/query_scope.h"

namespace kestrel::access {

class QueryCompiler final : private QueryContext {
 public:
  // All must outlive this.
  QueryCompiler(JetFilePtr file, const Catalog& catalog, const StoredQueries& queries)
      : file_(std::move(file)), catalog_(catalog), queries_(queries) {}

  // Call once. Raises 3000, naming the query, where it cannot be run here; a query with parameters is refused
  // with all their names.
  QueryPlan Compile(const CatalogEntry& query);

 private:
  void UseColumn(const QuerySource& source, std::size_t column) override;
  void NoteParameter(const std::string& name) override;
  CompiledValue Subselect(const SelectStatement& select, const QueryScope& outer) override;

  // What a select is for: a step of the plan, a part of a union, or a value within an expression.
  enum class Use { kStep, kUnionPart, kSubselect };
  struct CompiledSelect {
    std::string sql;
    std::vector<ResultColumn> columns;
    std::vector<CompiledValue> values;
    std::vector<ValueType> order_columns;
  };

  // Each adds the steps for a thing that is read and gives it as a source (without alias).
  QuerySource Object(const std::string& name);
  QuerySource StoredTable(const CatalogEntry& entry);
  QuerySource Query(const CatalogEntry& entry);
  QuerySource Step(const SelectStatement& select);

  // In select_compiler.cpp.
  void AddSources(const FromItem& item, QueryScope& scope);
  std::string FromSql(const FromItem& item, const QueryScope& scope, std::size_t& next);
  void AddColumns(const SelectStatement& select, const QueryScope& scope, ExpressionCompiler& compiler,
                  CompiledSelect& result);
  CompiledSelect Select(const SelectStatement& select, const QueryScope* outer, Use use);
  CompiledSelect Union(const SelectStatement& select, const QueryScope* outer);

  JetFilePtr file_;
  const Catalog& catalog_;
  const StoredQueries& queries_;
  QueryPlan plan_;
  std::map<std::int32_t, std::size_t> loaded_;    // catalog id -> plan_.loads
  std::map<std::int32_t, QuerySource> compiled_;  // queries that are steps already
  std::set<std::int32_t> compiling_;
  std::vector<std::string> parameters_;
  std::set<std::string> used_sources_;  // aliases
  std::size_t next_alias_ = 0;
};

}  // namespace kestrel::access
