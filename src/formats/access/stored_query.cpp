#include "formats/access/stored_query.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "formats/access/cell_value.h"
#include "formats/access/table_reader.h"
#include "formats/access_sql/access_text.h"
#include "formats/access_sql/sql_lexer.h"
#include "formats/access_sql/sql_parser.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::access {
namespace {

using access_sql::EqualText;
using access_sql::Expression;
using access_sql::ExpressionPtr;
using access_sql::FromItem;
using access_sql::JoinKind;
using access_sql::kCrosstabReason;
using access_sql::OrderKey;
using access_sql::OutputColumn;
using access_sql::ParseExpression;
using access_sql::ParseOutputColumn;
using access_sql::ParseSelect;
using access_sql::QueryError;
using access_sql::SelectStatement;
using access_sql::SqlError;

// What a row is about.
enum Attribute {
  kType = 1,
  kParameter = 2,
  kPredicates = 3,
  kDatabase = 4,
  kSource = 5,
  kColumn = 6,
  kJoin = 7,
  kWhere = 8,
  kGroup = 9,
  kHaving = 10,
  kOrder = 11,
};

// The flag of a kType row.
enum QueryType { kSelect = 1, kUnion = 9 };
constexpr int kCrosstab = 6;
constexpr int kDefinition = 7;
constexpr int kPassThrough = 8;

// The flags of a kPredicates row.
constexpr int kAllColumns = 0x01;
constexpr int kDistinct = 0x02;
constexpr int kDistinctRow = 0x08;
constexpr int kTop = 0x10;
constexpr int kPercent = 0x20;

// The flag of a kJoin row.
constexpr int kLeftJoin = 2;
constexpr int kRightJoin = 3;

RuntimeError WrongKind(const CatalogEntry& query, int type) {
  constexpr const char* kOtherSource = "Bitte die Tabelle selbst oder eine Auswahlabfrage angeben.";
  switch (type) {
    case kCrosstab: return QueryError(query.name, kCrosstabReason);
    case kDefinition:
      return QueryError(query.name, "sie legt Tabellen an oder ändert sie und liefert keine Datensätze",
                        kOtherSource);
    case kPassThrough:
      return QueryError(query.name, "sie wird an einen Datenbankserver weitergereicht",
                        "Bitte diesen Server als Datenquelle angeben.");
    default: return QueryError(query.name, "sie ändert Daten und liefert keine Datensätze", kOtherSource);
  }
}

ExpressionPtr And(ExpressionPtr left, ExpressionPtr right) {
  if (left == nullptr) return right;
  auto both = std::make_unique<Expression>();
  both->kind = Expression::Kind::kBinary;
  both->text = "and";
  both->operands.push_back(std::move(left));
  both->operands.push_back(std::move(right));
  return both;
}

// Whether the item, or one joined into it, goes by this name.
bool Holds(const FromItem& item, std::string_view name) {
  if (item.left != nullptr) return Holds(*item.left, name) || Holds(*item.right, name);
  return EqualText(item.alias.empty() ? item.table : item.alias, name);
}

using Sources = std::vector<std::unique_ptr<FromItem>>;

Sources::iterator FindSource(Sources& sources, std::string_view name) {
  const auto found =
      std::find_if(sources.begin(), sources.end(), [&](const auto& item) { return Holds(*item, name); });
  if (found == sources.end()) {
    throw SqlError("eine Verknüpfung nennt die Tabelle '" + std::string(name) + "', die in ihr nicht vorkommt");
  }
  return found;
}

struct Join {
  std::string left;
  std::string right;
  JoinKind kind = JoinKind::kInner;
  ExpressionPtr on;
};

// Joins the sources one after the other, as Access does with its brackets.
void Apply(Join join, Sources& sources) {
  const auto left = FindSource(sources, join.left);
  const auto right = FindSource(sources, join.right);
  if (left == right) {
    // Both are joined already, through a third table: one more condition.
    FromItem& joined = **left;
    if (joined.left == nullptr) throw SqlError("eine Tabelle ist mit sich selbst verknüpft");
    joined.on = And(std::move(joined.on), std::move(join.on));
    return;
  }
  auto joined = std::make_unique<FromItem>();
  joined->join = join.kind;
  joined->on = std::move(join.on);
  joined->left = std::move(*left);
  joined->right = std::move(*right);
  *left = std::move(joined);
  sources.erase(right);
}

void CountTop(const std::string& count, int flags, SelectStatement& select) {
  const auto number = ParseWholeNumber(count);
  if (!number || *number < 0 || *number > 0x7FFFFFFF) throw SqlError("die Anzahl hinter TOP fehlt");
  select.top = static_cast<int>(*number);
  select.top_percent = (flags & kPercent) != 0;
}

}  // namespace

StoredQueries::StoredQueries(const JetFilePtr& file, const Catalog& catalog) {
  const CatalogEntry* entry = catalog.Find("MSysQueries");
  if (entry == nullptr || entry->kind != ObjectKind::kTable) return;
  TableReader table(file, entry->Place());
  // A query that lost its condition would give more rows than it has.
  if (const auto loss = table.Loss(entry->name); loss && table.LacksPages()) {
    throw FormatError("Die Abfragen der Datei sind nicht mehr vollständig. " + loss->Description());
  }
  const auto [object, attribute, order, name1, name2, expression, flag] =
      table.RequireColumns({"ObjectId", "Attribute", "Order", "Name1", "Name2", "Expression", "Flag"});
  const auto number = [&](std::size_t column) {
    return static_cast<std::int32_t>(LeadingWholeNumber(table.Text(column)));
  };
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    table.GoTo(row);
    rows_[number(object)].push_back({number(attribute), number(flag), std::string(table.Text(order)),
                                     std::string(table.Text(name1)), std::string(table.Text(name2)),
                                     std::string(table.Text(expression))});
  }
  for (auto& [id, rows] : rows_) {
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
      return std::tie(a.attribute, a.order) < std::tie(b.attribute, b.order);
    });
  }
}

std::unique_ptr<SelectStatement> StoredQueries::Statement(const CatalogEntry& query) const {
  const auto fail = [&](const std::string& reason) { return QueryError(query.name, reason); };
  const auto found = rows_.find(query.id);
  if (found == rows_.end()) throw fail("ihr Inhalt fehlt in der Datei");
  const Rows& rows = found->second;
  const auto type =
      std::find_if(rows.begin(), rows.end(), [](const Row& row) { return row.attribute == kType; });
  const int kind = type == rows.end() ? kSelect : type->flag;
  if (kind != kSelect && kind != kUnion) throw WrongKind(query, kind);
  try {
    return kind == kUnion ? UnionOf(rows) : SelectOf(rows);
  } catch (const SqlError& error) {
    throw fail(error.Description());
  }
}

void StoredQueries::AddSources(const Rows& rows, SelectStatement& select) {
  std::vector<Join> joins;
  for (const Row& row : rows) {
    if (row.attribute == kSource) {
      auto item = std::make_unique<FromItem>();
      item->table = row.name1;
      item->alias = row.name2;
      if (!row.expression.empty()) item->select = ParseSelect(row.expression);
      select.from.push_back(std::move(item));
    } else if (row.attribute == kJoin) {
      const JoinKind kind = row.flag == kLeftJoin    ? JoinKind::kLeft
                            : row.flag == kRightJoin ? JoinKind::kRight
                                                     : JoinKind::kInner;
      // Each condition between the same two tables is a row of its own.
      const auto same = std::find_if(joins.begin(), joins.end(), [&](const Join& join) {
        return EqualText(join.left, row.name1) && EqualText(join.right, row.name2);
      });
      ExpressionPtr on = ParseExpression(row.expression);
      if (same != joins.end()) {
        same->on = And(std::move(same->on), std::move(on));
      } else {
        joins.push_back({row.name1, row.name2, kind, std::move(on)});
      }
    }
  }
  for (Join& join : joins) Apply(std::move(join), select.from);
}

std::unique_ptr<SelectStatement> StoredQueries::SelectOf(const Rows& rows) {
  auto select = std::make_unique<SelectStatement>();
  AddSources(rows, *select);
  for (const Row& row : rows) {
    switch (row.attribute) {
      case kParameter: select->parameters.push_back(row.name1); break;
      case kPredicates:
        select->distinct = (row.flag & kDistinct) != 0;
        select->distinct_row = (row.flag & kDistinctRow) != 0;
        if ((row.flag & kTop) != 0) CountTop(row.name1, row.flag, *select);
        if ((row.flag & kAllColumns) != 0) select->columns.emplace_back();
        break;
      case kDatabase:
        if (!row.name1.empty() || !row.expression.empty()) {
          throw SqlError("sie liest Tabellen aus einer anderen Datei ('" + row.name1 + "')");
        }
        break;
      case kColumn: {
        OutputColumn column = ParseOutputColumn(row.expression);
        if (!row.name1.empty()) column.alias = row.name1;
        select->columns.push_back(std::move(column));
        break;
      }
      case kWhere: select->where = And(std::move(select->where), ParseExpression(row.expression)); break;
      case kGroup: select->group_by.push_back(ParseExpression(row.expression)); break;
      case kHaving: select->having = And(std::move(select->having), ParseExpression(row.expression)); break;
      case kOrder:
        select->order_by.push_back({ParseExpression(row.expression), EqualsIgnoringCase(row.name1, "D")});
        break;
      default: break;
    }
  }
  if (select->columns.empty()) select->columns.emplace_back();
  return select;
}

std::unique_ptr<SelectStatement> StoredQueries::UnionOf(const Rows& rows) {
  std::unique_ptr<SelectStatement> whole;
  bool distinct = false;
  std::vector<OrderKey> order;
  std::vector<std::string> parameters;
  for (const Row& row : rows) {
    if (row.attribute == kPredicates) distinct = (row.flag & kDistinct) != 0;
    if (row.attribute == kParameter) parameters.push_back(row.name1);
    if (row.attribute == kOrder) {
      order.push_back({ParseExpression(row.expression), EqualsIgnoringCase(row.name1, "D")});
    }
    if (row.attribute != kSource) continue;
    auto part = ParseSelect(row.expression);
    if (!part->order_by.empty()) order = std::move(part->order_by);
    part->order_by.clear();
    if (whole == nullptr) {
      whole = std::move(part);
      continue;
    }
    auto further = std::move(part->unions);
    part->unions.clear();
    whole->unions.push_back({!distinct, std::move(part)});
    for (auto& next : further) whole->unions.push_back(std::move(next));
  }
  if (whole == nullptr) throw SqlError("ihr Inhalt fehlt in der Datei");
  whole->order_by = std::move(order);
  whole->parameters.insert(whole->parameters.end(), parameters.begin(), parameters.end());
  return whole;
}

}  // namespace kestrel::access
