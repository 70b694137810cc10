#include "formats/access_sql/query_compiler.h"

#include <algorithm>
#include <utility>

#include "formats/access_sql/sql_lexer.h"

namespace kestrel::access_sql {
namespace {

constexpr std::size_t kDeepestQueries = 50;

}  // namespace

QueryPlan QueryCompiler::Compile(const QueryObject& query) {
  SavedQuery(query);
  if (!parameters_.empty()) {
    std::string names;
    for (const std::string& name : parameters_) names += (names.empty() ? "'" : ", '") + name + "'";
    throw QueryError(query.name,
                     "sie fragt nach Parametern (" + names + "), oder ihre Felder dieses Namens gibt es nicht",
                     "Nötig ist eine Abfrage ohne Parameter.");
  }
  return std::move(plan_);
}

void QueryCompiler::UseColumn(const QuerySource& source, std::size_t column) {
  used_sources_.insert(source.sql_alias);
  if (source.load) plan_.loads[*source.load].used[column] = true;
}

void QueryCompiler::NoteParameter(const std::string& name) {
  if (std::find(parameters_.begin(), parameters_.end(), name) == parameters_.end()) parameters_.push_back(name);
}

// --- Sources ------------------------------------------------------------------------------------

QuerySource QueryCompiler::Object(const std::string& name) {
  const std::optional<QueryObject> object = tables_.Find(name);
  if (!object) throw SqlError("die Tabelle oder Abfrage '" + name + "' gibt es nicht");
  return object->is_query ? SavedQuery(*object) : StoredTable(*object);
}

QuerySource QueryCompiler::StoredTable(const QueryObject& table) {
  const auto [found, is_new] = loaded_.emplace(table.id, plan_.loads.size());
  if (is_new) {
    LoadStep load;
    load.sql_name = "t" + std::to_string(plan_.loads.size());
    load.table = table;
    load.columns = tables_.Columns(table);
    load.used.resize(load.columns.size());
    plan_.loads.push_back(std::move(load));
  }
  const LoadStep& load = plan_.loads[found->second];
  return {table.name, load.sql_name, "", load.columns, found->second};
}

QuerySource QueryCompiler::SavedQuery(const QueryObject& query) {
  if (const auto done = compiled_.find(query.id); done != compiled_.end()) return done->second;
  if (!compiling_.insert(query.id).second) throw QueryError(query.name, "sie liest sich selbst");
  if (compiling_.size() > kDeepestQueries) throw QueryError(query.name, "sie ist zu tief verschachtelt");
  const auto statement = tables_.Statement(query);
  QuerySource source;
  try {
    source = Step(*statement);
  } catch (const SqlError& error) {
    throw QueryError(query.name, error.Description());
  }
  source.name = query.name;
  compiling_.erase(query.id);
  compiled_.emplace(query.id, source);
  return source;
}

QuerySource QueryCompiler::Step(const SelectStatement& select) {
  for (const std::string& parameter : select.parameters) NoteParameter(parameter);
  CompiledSelect compiled =
      select.unions.empty() ? Select(select, nullptr, Use::kStep) : Union(select, nullptr);
  SelectStep step;
  step.sql_name = "q" + std::to_string(plan_.selects.size());
  step.sql = std::move(compiled.sql);
  step.columns = std::move(compiled.columns);
  step.order_columns = std::move(compiled.order_columns);
  if (select.unions.empty()) {
    step.top = select.top;
    step.top_percent = select.top_percent;
  }
  QuerySource source{"", step.sql_name, "", step.columns, std::nullopt};
  plan_.selects.push_back(std::move(step));
  return source;
}

}  // namespace kestrel::access_sql
