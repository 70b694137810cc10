#include "formats/access_sql/query_compiler.h"

#include <algorithm>
#include <utility>

#include "formats/access/cell_value.h"
#include "formats/access/table_definition.h"
#include "formats/access_sql/sql_lexer.h"

namespace kestrel::access {
namespace {

constexpr std::size_t kDeepestQueries = 50;

ValueType TypeOf(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kBoolean: return ValueType::kTruth;
    case ColumnKind::kByte:
    case ColumnKind::kInteger:
    case ColumnKind::kLong:
    case ColumnKind::kBigInteger: return ValueType::kWhole;
    case ColumnKind::kCurrency: return ValueType::kCurrency;
    case ColumnKind::kSingle:
    case ColumnKind::kDouble: return ValueType::kReal;
    case ColumnKind::kDate:
    case ColumnKind::kExtendedDate: return ValueType::kDate;
    case ColumnKind::kNumeric: return ValueType::kDecimal;
    case ColumnKind::kBinary:
    case ColumnKind::kOle: return ValueType::kBytes;
    default: return ValueType::kText;
  }
}

}  // namespace

QueryPlan QueryCompiler::Compile(const CatalogEntry& query) {
  Query(query);
  if (!parameters_.empty()) {
    std::string names;
    for (const std::string& name : parameters_) names += (names.empty() ? "'" : ", '") + name + "'";
    throw QueryError(query,
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
  const CatalogEntry* entry = catalog_.Find(name);
  if (entry == nullptr) throw SqlError("die Tabelle oder Abfrage '" + name + "' gibt es nicht");
  switch (entry->kind) {
    case ObjectKind::kTable: return StoredTable(*entry);
    case ObjectKind::kQuery: return Query(*entry);
    default: throw LinkedTableError(*entry);
  }
}

QuerySource QueryCompiler::StoredTable(const CatalogEntry& entry) {
  const auto [found, is_new] = loaded_.emplace(entry.id, plan_.loads.size());
  if (is_new) {
    LoadStep load;
    load.sql_name = "t" + std::to_string(plan_.loads.size());
    load.table = entry.name;
    load.place = entry.Place();
    const TableDefinition table = ReadTableDefinition(*file_, load.place);
    for (const Column& column : table.columns) load.columns.push_back({column.name, TypeOf(column.kind)});
    for (const Column& column : table.left_out)
      load.columns.push_back({column.name, ValueType::kUnknown, true});
    load.used.resize(load.columns.size());
    plan_.loads.push_back(std::move(load));
  }
  const LoadStep& load = plan_.loads[found->second];
  return {entry.name, load.sql_name, "", load.columns, found->second};
}

QuerySource QueryCompiler::Query(const CatalogEntry& entry) {
  if (const auto done = compiled_.find(entry.id); done != compiled_.end()) return done->second;
  if (!compiling_.insert(entry.id).second) throw QueryError(entry, "sie liest sich selbst");
  if (compiling_.size() > kDeepestQueries) throw QueryError(entry, "sie ist zu tief verschachtelt");
  const auto statement = queries_.Statement(entry);
  QuerySource source;
  try {
    source = Step(*statement);
  } catch (const SqlError& error) {
    throw QueryError(entry, error.Description());
  }
  source.name = entry.name;
  compiling_.erase(entry.id);
  compiled_.emplace(entry.id, source);
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

}  // namespace kestrel::access
