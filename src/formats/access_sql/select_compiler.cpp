// The part of QueryCompiler that writes one select.
#include <algorithm>
#include <utility>

#include "formats/access_sql/access_text.h"
#include "formats/access_sql/expression_compiler.h"
#include "formats/access_sql/query_compiler.h"
#include "formats/access_sql/sql_lexer.h"
#include "platform/base/number.h"

namespace kestrel::access_sql {
namespace {

using Kind = Expression::Kind;

// The tables that names like [Table].[Column] speak of, for a select that says nothing else.
void CollectOwners(const Expression* expression, std::vector<std::string>& owners) {
  if (expression == nullptr) return;
  if (expression->kind == Kind::kName && expression->parts.size() == 2) {
    const std::string& owner = expression->parts.front();
    const bool known = std::any_of(owners.begin(), owners.end(),
                                   [&](const std::string& other) { return EqualText(other, owner); });
    if (!known) owners.push_back(owner);
  }
  for (const ExpressionPtr& operand : expression->operands) CollectOwners(operand.get(), owners);
}

// What an output column is called that was given no name.
std::string NameOfColumn(const Expression& expression, std::size_t index) {
  if (expression.kind == Kind::kName) return expression.parts.back();
  return "Expr" + std::to_string(1000 + index);
}

bool IsWholeNumber(const Expression& expression) {
  return expression.kind == Kind::kNumber && ParseWholeNumber(expression.text).has_value();
}

// The position that a number, or the name of a column, orders by.
std::optional<std::size_t> PositionOf(const Expression& expression, const std::vector<ResultColumn>& columns) {
  if (IsWholeNumber(expression)) {
    const auto position = ParseWholeNumber(expression.text);
    if (*position < 1 || *position > static_cast<std::int64_t>(columns.size())) {
      throw SqlError("ORDER BY nennt eine Spalte, die es nicht gibt");
    }
    return static_cast<std::size_t>(*position - 1);
  }
  if (expression.kind != Kind::kName) return std::nullopt;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (EqualText(columns[i].name, expression.parts.back())) return i;
  }
  return std::nullopt;
}

const std::vector<OrderKey> kNoOrder;

// The source that a column comes from, where it is nothing but a column.
std::string OwnerOf(const Expression& expression, const QueryScope& scope) {
  if (expression.kind != Kind::kName) return {};
  if (expression.parts.size() > 1) return expression.parts[expression.parts.size() - 2];
  for (const QuerySource& source : scope.sources) {
    const bool has = std::any_of(source.columns.begin(), source.columns.end(), [&](const ResultColumn& column) {
      return EqualText(column.name, expression.parts.front());
    });
    if (has) return source.name;
  }
  return {};
}

template <class Items, class Text>
std::string Joined(const Items& items, Text&& text) {
  std::string sql;
  for (const auto& item : items) sql += (sql.empty() ? "" : ", ") + text(item);
  return sql;
}

bool HasAggregates(const SelectStatement& select) {
  return !select.group_by.empty() || select.having != nullptr ||
         std::any_of(select.columns.begin(), select.columns.end(), [](const OutputColumn& column) {
           return column.expression != nullptr && HasAggregate(*column.expression);
         });
}

}  // namespace

void QueryCompiler::AddSources(const FromItem& item, QueryScope& scope) {
  if (item.left != nullptr) {
    AddSources(*item.left, scope);
    AddSources(*item.right, scope);
    return;
  }
  QuerySource source = item.select != nullptr ? Step(*item.select) : Object(item.table);
  if (!item.alias.empty()) source.name = item.alias;
  source.sql_alias = "a" + std::to_string(next_alias_++);
  scope.sources.push_back(std::move(source));
}

// The sources stand in the scope in the order in which they are met here; `next` counts them.
std::string QueryCompiler::FromSql(const FromItem& item, const QueryScope& scope, std::size_t& next) {
  if (item.left == nullptr) {
    const QuerySource& source = scope.sources[next++];
    return source.sql_table + " AS " + source.sql_alias;
  }
  const std::string left = FromSql(*item.left, scope, next);
  std::string right = FromSql(*item.right, scope, next);
  if (item.right->left != nullptr) right = "(" + right + ")";
  const char* join = item.join == JoinKind::kLeft    ? " LEFT JOIN "
                     : item.join == JoinKind::kRight ? " RIGHT JOIN "
                                                     : " INNER JOIN ";
  return left + join + right + " ON " + ExpressionCompiler(*this, scope).Condition(*item.on);
}

// The output columns, * spread out.
void QueryCompiler::AddColumns(const SelectStatement& select, const QueryScope& scope,
                               ExpressionCompiler& compiler, CompiledSelect& result) {
  std::vector<std::string> owners;  // of columns that keep their own name
  const auto add = [&](CompiledValue value, std::string name, std::string owner) {
    result.columns.push_back({std::move(name), value.type});
    result.values.push_back(std::move(value));
    owners.push_back(std::move(owner));
  };
  for (const OutputColumn& column : select.columns) {
    if (column.expression != nullptr) {
      const bool named = !column.alias.empty();
      add(compiler.Value(*column.expression),
          named ? column.alias : NameOfColumn(*column.expression, result.columns.size()),
          named ? std::string() : OwnerOf(*column.expression, scope));
      continue;
    }
    bool found = false;
    for (const QuerySource& source : scope.sources) {
      if (!column.star_table.empty() && !EqualText(column.star_table, source.name)) continue;
      found = true;
      for (std::size_t i = 0; i < source.columns.size(); ++i) {
        if (source.columns[i].unreadable) continue;
        UseColumn(source, i);
        add({source.sql_alias + ".c" + std::to_string(i), source.columns[i].type, true}, source.columns[i].name,
            source.name);
      }
    }
    if (!found) throw SqlError("die Tabelle '" + column.star_table + "' wird nicht gelesen");
  }
  // Columns of several tables that share a name are told apart by their tables.
  std::vector<std::string> names;
  for (std::size_t i = 0; i < owners.size(); ++i) {
    bool shared = false;
    for (std::size_t k = 0; k < owners.size() && !owners[i].empty(); ++k) {
      shared = shared || (k != i && EqualText(result.columns[i].name, result.columns[k].name));
    }
    names.push_back(shared ? owners[i] + "." + result.columns[i].name : result.columns[i].name);
  }
  for (std::size_t i = 0; i < names.size(); ++i) result.columns[i].name = std::move(names[i]);
}

QueryCompiler::CompiledSelect QueryCompiler::Select(const SelectStatement& select, const QueryScope* outer,
                                                    Use use) {
  const bool keeps_ties = use == Use::kStep;
  QueryScope scope;
  scope.select = &select;
  scope.outer = outer;
  std::vector<std::unique_ptr<FromItem>> told;
  if (select.from.empty()) {
    std::vector<std::string> owners;
    for (const OutputColumn& column : select.columns) CollectOwners(column.expression.get(), owners);
    CollectOwners(select.where.get(), owners);
    for (std::string& owner : owners) {
      if (!tables_.Find(owner)) continue;
      told.push_back(std::make_unique<FromItem>());
      told.back()->table = std::move(owner);
    }
  }
  const auto& from = select.from.empty() ? told : select.from;
  for (const auto& item : from) AddSources(*item, scope);

  CompiledSelect result;
  ExpressionCompiler compiler(*this, scope);
  std::set<std::string> used_around = std::exchange(used_sources_, {});
  AddColumns(select, scope, compiler, result);
  const std::set<std::string> shown = std::exchange(used_sources_, std::move(used_around));

  std::vector<std::string> order;
  std::vector<CompiledValue> keys;
  // The order in the first part of a union is that of the whole.
  const auto& order_by = use == Use::kUnionPart ? kNoOrder : select.order_by;
  for (const OrderKey& key : order_by) {
    const auto position =
        IsWholeNumber(*key.expression) ? PositionOf(*key.expression, result.columns) : std::nullopt;
    keys.push_back(position ? result.values[*position] : compiler.Value(*key.expression));
    order.push_back(Collated(keys.back()) + (key.descending ? " DESC" : ""));
  }

  std::string sql = select.distinct ? "SELECT DISTINCT " : "SELECT ";
  sql += Joined(result.values, Collated);
  if (keeps_ties && select.top) {
    for (const CompiledValue& key : keys) {
      sql += ", " + Collated(key);
      result.order_columns.push_back(key.type);
    }
  }
  std::size_t next = 0;
  const auto source_sql = [&](const std::unique_ptr<FromItem>& item) {
    const std::string text = FromSql(*item, scope, next);
    return from.size() > 1 && item->left != nullptr ? "(" + text + ")" : text;
  };
  if (!from.empty()) sql += " FROM " + Joined(from, source_sql);
  if (select.where != nullptr) sql += " WHERE " + compiler.Condition(*select.where);
  if (!select.group_by.empty()) {
    sql += " GROUP BY " + Joined(select.group_by, [&](const ExpressionPtr& expression) {
             return Collated(compiler.Value(*expression));
           });
  } else if (select.distinct_row && !select.distinct && !HasAggregates(select) && !shown.empty() &&
             shown.size() < scope.sources.size()) {
    // One row for each combination of rows of the tables that are shown.
    sql += " GROUP BY " + Joined(shown, [](const std::string& alias) { return alias + ".rowid"; });
  }
  if (select.having != nullptr) sql += " HAVING " + compiler.Condition(*select.having);
  if (!order.empty()) sql += " ORDER BY " + Joined(order, [](const std::string& key) { return key; });
  if (!keeps_ties && select.top) {
    if (select.top_percent) throw SqlError("TOP mit PERCENT steht in einer inneren Abfrage");
    sql += " LIMIT " + std::to_string(*select.top);
  }
  result.sql = std::move(sql);
  return result;
}

QueryCompiler::CompiledSelect QueryCompiler::Union(const SelectStatement& select, const QueryScope* outer) {
  CompiledSelect result;
  std::string sql;
  const auto add = [&](const SelectStatement& part, const char* word) {
    CompiledSelect compiled = Select(part, outer, Use::kUnionPart);
    if (sql.empty()) {
      result.columns = std::move(compiled.columns);
    } else if (result.columns.size() != compiled.columns.size()) {
      throw SqlError("die Teile der UNION haben verschieden viele Spalten");
    } else {
      for (std::size_t i = 0; i < result.columns.size(); ++i) {
        result.columns[i].type = CommonType(result.columns[i].type, compiled.columns[i].type);
      }
    }
    // A limit of a part's own needs a select around it.
    sql += word + (part.top ? "SELECT * FROM (" + compiled.sql + ")" : compiled.sql);
  };
  add(select, "");
  for (const SelectStatement::Union& part : select.unions)
    add(*part.select, part.all ? " UNION ALL " : " UNION ");

  result.sql = "SELECT * FROM (" + sql + ")";
  const auto key_sql = [&](const OrderKey& key) {
    const auto position = PositionOf(*key.expression, result.columns);
    if (!position) throw SqlError("ORDER BY einer UNION nennt keine ihrer Spalten");
    const ValueType type = result.columns[*position].type;
    const bool text = type == ValueType::kText || type == ValueType::kUnknown;
    return std::to_string(*position + 1) + (text ? kCollation : "") + (key.descending ? " DESC" : "");
  };
  if (!select.order_by.empty()) result.sql += " ORDER BY " + Joined(select.order_by, key_sql);
  return result;
}

CompiledValue QueryCompiler::Subselect(const SelectStatement& select, const QueryScope& outer) {
  for (const std::string& parameter : select.parameters) NoteParameter(parameter);
  const CompiledSelect compiled =
      select.unions.empty() ? Select(select, &outer, Use::kSubselect) : Union(select, &outer);
  return {compiled.sql, compiled.columns.front().type, false};
}

}  // namespace kestrel::access_sql
