// Turns a saved query, and the queries it is built on, into a plan.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "formats/access_sql/expression_compiler.h"
#include "formats/access_sql/query_scope.h"

namespace kestrel::access_sql {

class QueryCompiler final : private QueryContext {
 public:
  // The tables must outlive this.
  explicit QueryCompiler(const QueryTables& tables) : tables_(tables) {}

  // Call once. Raises 3000, naming the query, where it cannot be run here; a query with parameters is refused
  // with all their names.
  QueryPlan Compile(const QueryObject& query);

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
  QuerySource StoredTable(const QueryObject& table);
  QuerySource SavedQuery(const QueryObject& query);
  QuerySource Step(const SelectStatement& select);

  // In select_compiler.cpp.
  void AddSources(const FromItem& item, QueryScope& scope);
  std::string FromSql(const FromItem& item, const QueryScope& scope, std::size_t& next);
  void AddColumns(const SelectStatement& select, const QueryScope& scope, ExpressionCompiler& compiler,
                  CompiledSelect& result);
  CompiledSelect Select(const SelectStatement& select, const QueryScope* outer, Use use);
  CompiledSelect Union(const SelectStatement& select, const QueryScope* outer);

  const QueryTables& tables_;
  QueryPlan plan_;
  std::map<std::int32_t, std::size_t> loaded_;    // id of the table -> plan_.loads
  std::map<std::int32_t, QuerySource> compiled_;  // queries that are steps already
  std::set<std::int32_t> compiling_;
  std::vector<std::string> parameters_;
  std::set<std::string> used_sources_;  // aliases
  std::size_t next_alias_ = 0;
};

}  // namespace kestrel::access_sql
