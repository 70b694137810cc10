#include "formats/access_sql/expression_compiler.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "formats/access_sql/access_text.h"
#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/query_functions.h"
#include "formats/access_sql/sql_lexer.h"
#include "kestrel/clock.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

using Kind = Expression::Kind;

bool IsComparison(std::string_view sign) {
  return sign == "=" || sign == "<>" || sign == "<" || sign == ">" || sign == "<=" || sign == ">=";
}
bool IsLogic(std::string_view word) {
  return word == "and" || word == "or" || word == "xor" || word == "eqv" || word == "imp";
}
bool IsLike(std::string_view word) { return word == "like" || word == "alike"; }
bool IsNumber(ValueType type) {
  return type == ValueType::kWhole || type == ValueType::kReal || type == ValueType::kCurrency ||
         type == ValueType::kDecimal || type == ValueType::kTruth || type == ValueType::kDate;
}

constexpr std::array<std::string_view, 11> kAggregates{"count", "sum",   "avg",    "min", "max", "first",
                                                       "last",  "stdev", "stdevp", "var", "varp"};
bool IsAggregate(const Expression& expression) {
  return expression.kind == Kind::kCall &&
         std::find(kAggregates.begin(), kAggregates.end(), expression.text) != kAggregates.end();
}

std::string RealLiteral(double number) {
  std::array<char, 40> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
  std::string literal(text.data(), end.ptr);
  if (literal.find_first_of(".e") == std::string::npos) literal += ".0";
  return literal;
}

std::string Joined(const std::vector<std::string>& parts, char mark) {
  std::string whole;
  for (const std::string& part : parts) whole += (whole.empty() ? "" : std::string(1, mark)) + part;
  return whole;
}

// A field of a form or a report, as Access writes it in English and German.
bool NamesForm(const Expression& name) {
  if (name.parts.size() < 2) return false;
  for (const std::string_view word : {"Forms", "Formulare", "Reports", "Berichte", "Screen"}) {
    if (EqualsIgnoringCase(name.parts.front(), word)) return name.by_mark || name.parts.size() > 2;
  }
  return false;
}

// A text as an SQL literal.
std::string SqlText(std::string_view text) { return "'" + ReplaceAll(text, "'", "''") + "'"; }

// Some forms repeat an operand, so that a few nested ones could fill the memory.
void RequireSize(const std::string& sql) {
  constexpr std::size_t kMost = 500000;
  if (sql.size() > kMost) throw SqlError("ein Ausdruck ist zu lang");
}

// Of a + b, a - b and a * b.
ValueType ResultOf(std::string_view sign, ValueType a, ValueType b) {
  const bool date_a = a == ValueType::kDate;
  const bool date_b = b == ValueType::kDate;
  if (date_a != date_b && (sign == "+" || (sign == "-" && date_a))) return ValueType::kDate;
  const auto number = [](ValueType type) {
    if (type == ValueType::kTruth) return ValueType::kWhole;
    return type == ValueType::kText || type == ValueType::kDate ? ValueType::kReal : type;
  };
  return CommonType(number(a), number(b));
}

}  // namespace

ValueType CommonType(ValueType a, ValueType b) {
  if (a == b || b == ValueType::kNull) return a;
  if (a == ValueType::kNull) return b;
  if (a == ValueType::kUnknown || b == ValueType::kUnknown) return ValueType::kUnknown;
  const auto plain = [](ValueType type) {
    return type == ValueType::kWhole || type == ValueType::kReal || type == ValueType::kCurrency ||
           type == ValueType::kDecimal;
  };
  if (!plain(a) || !plain(b)) return ValueType::kUnknown;
  for (const ValueType type : {ValueType::kReal, ValueType::kDecimal, ValueType::kCurrency}) {
    if (a == type || b == type) return type;
  }
  return ValueType::kWhole;
}

bool HasAggregate(const Expression& expression) {
  return IsAggregate(expression) ||
         std::any_of(expression.operands.begin(), expression.operands.end(),
                     [](const ExpressionPtr& operand) { return HasAggregate(*operand); });
}

// --- Values and conditions ----------------------------------------------------------------------

CompiledValue ExpressionCompiler::Value(const Expression& expression) {
  CompiledValue value = CompileValue(expression);
  RequireSize(value.sql);
  return value;
}

std::string ExpressionCompiler::Condition(const Expression& expression) {
  std::string sql = CompileCondition(expression);
  RequireSize(sql);
  return sql;
}

// Whether the expression gives a truth value, so that And and Or combine truths and not bits.
bool ExpressionCompiler::IsTruth(const Expression& expression) {
  const auto known = truths_.find(&expression);
  if (known != truths_.end()) return known->second;
  const bool truth = FindTruth(expression);
  truths_[&expression] = truth;
  return truth;
}

bool ExpressionCompiler::FindTruth(const Expression& expression) {
  switch (expression.kind) {
    case Kind::kTruth:
    case Kind::kBetween:
    case Kind::kIn:
    case Kind::kIsNull:
    case Kind::kExists: return true;
    case Kind::kNot: return IsTruth(*expression.operands[0]);
    case Kind::kBinary:
      if (IsLogic(expression.text)) return IsTruth(*expression.operands[0]) && IsTruth(*expression.operands[1]);
      return IsComparison(expression.text) || IsLike(expression.text);
    case Kind::kName:
    case Kind::kCall: return Value(expression).type == ValueType::kTruth;
    default: return false;
  }
}

std::string ExpressionCompiler::CompileCondition(const Expression& expression) {
  switch (expression.kind) {
    case Kind::kIsNull: {
      const CompiledValue value = Value(*expression.operands[0]);
      return "(" + value.sql + (expression.negated ? " IS NOT NULL)" : " IS NULL)");
    }
    case Kind::kExists: return "EXISTS (" + context_.Subselect(*expression.select, scope_).sql + ")";
    case Kind::kIn: return In(expression);
    case Kind::kBetween: {
      const CompiledValue value = Comparable(*expression.operands[0]);
      const CompiledValue low = Comparable(*expression.operands[1]);
      const CompiledValue high = Comparable(*expression.operands[2]);
      RequireComparable(value, low);
      RequireComparable(value, high);
      // Access takes the bounds in either order.
      const std::string order = expression.negated ? " NOT BETWEEN " : " BETWEEN ";
      const std::string text = Collated(value);
      const std::string both = expression.negated ? " AND " : " OR ";
      return "(" + text + order + low.sql + " AND " + high.sql + both + text + order + high.sql + " AND " +
             low.sql + ")";
    }
    case Kind::kNot:
      if (IsTruth(*expression.operands[0])) return "(NOT " + Condition(*expression.operands[0]) + ")";
      break;
    case Kind::kBinary:
      if (IsComparison(expression.text)) return Comparison(expression);
      if (IsLike(expression.text)) {
        const std::string text = ToText(Value(*expression.operands[0]));
        const std::string pattern = ToText(Value(*expression.operands[1]));
        return std::string(expression.negated ? "(NOT " : "(") + "acc__" + expression.text + "(" + text + ", " +
               pattern + "))";
      }
      if (IsLogic(expression.text) && IsTruth(expression)) return Logic(expression);
      break;
    default: break;
  }
  return ToNumber(Value(expression));
}

std::string ExpressionCompiler::Logic(const Expression& expression) {
  const std::string left = Condition(*expression.operands[0]);
  const std::string right = Condition(*expression.operands[1]);
  if (expression.text == "and") return "(" + left + " AND " + right + ")";
  if (expression.text == "or") return "(" + left + " OR " + right + ")";
  if (expression.text == "imp") return "(NOT " + left + " OR " + right + ")";
  // Truths of any number but 0 are made 1, so that they can be compared.
  const std::string sign = expression.text == "xor" ? ") <> (NOT " : ") = (NOT ";
  return "((NOT " + left + sign + right + "))";
}

std::string ExpressionCompiler::Comparison(const Expression& expression) {
  const CompiledValue left = Comparable(*expression.operands[0]);
  const CompiledValue right = Comparable(*expression.operands[1]);
  RequireComparable(left, right);
  const std::string first = right.column ? left.sql : Collated(left);
  return "(" + first + " " + expression.text + " " + right.sql + ")";
}

std::string ExpressionCompiler::In(const Expression& expression) {
  const CompiledValue value = Comparable(*expression.operands[0]);
  std::string sql = "(" + Collated(value) + (expression.negated ? " NOT IN (" : " IN (");
  if (expression.select != nullptr) return sql + context_.Subselect(*expression.select, scope_).sql + "))";
  for (std::size_t i = 1; i < expression.operands.size(); ++i) {
    const CompiledValue item = Comparable(*expression.operands[i]);
    RequireComparable(value, item);
    sql += (i == 1 ? "" : ", ") + item.sql;
  }
  return sql + "))";
}

CompiledValue ExpressionCompiler::Comparable(const Expression& expression) {
  CompiledValue value = Value(expression);
  if (value.type == ValueType::kDecimal || value.type == ValueType::kCurrency) {
    return {"CAST(" + value.sql + " AS REAL)", value.type, false};
  }
  return value;
}

void ExpressionCompiler::RequireComparable(const CompiledValue& left, const CompiledValue& right) const {
  const auto clash = [](const CompiledValue& a, const CompiledValue& b) {
    return a.type == ValueType::kText && IsNumber(b.type);
  };
  if (clash(left, right) || clash(right, left)) {
    throw SqlError("ein Kriterium vergleicht einen Text mit einer Zahl, einem Datum oder einem Ja/Nein-Wert");
  }
}

CompiledValue ExpressionCompiler::CompileValue(const Expression& expression) {
  switch (expression.kind) {
    case Kind::kNull: return {"NULL", ValueType::kNull, false};
    case Kind::kNumber: {
      const bool whole =
          expression.text.find_first_not_of("0123456789") == std::string::npos && expression.text.size() <= 18;
      return {expression.text, whole ? ValueType::kWhole : ValueType::kReal, false};
    }
    case Kind::kText: return {SqlText(expression.text), ValueType::kText, false};
    case Kind::kDate: return {RealLiteral(expression.number), ValueType::kDate, false};
    case Kind::kTruth: return {expression.number != 0 ? "-1" : "0", ValueType::kTruth, false};
    case Kind::kName: return Name(expression);
    case Kind::kCall: return Call(expression);
    case Kind::kNegate: {
      const CompiledValue value = Value(*expression.operands[0]);
      return {"(-" + ToNumber(value) + ")", ResultOf("-", ValueType::kWhole, value.type), false};
    }
    case Kind::kSubselect: {
      CompiledValue value = context_.Subselect(*expression.select, scope_);
      value.sql = "(" + value.sql + ")";
      value.column = false;
      return value;
    }
    case Kind::kBinary:
      if (!IsComparison(expression.text) && !IsLike(expression.text) && !IsTruth(expression)) {
        return Binary(expression);
      }
      break;
    case Kind::kNot:
      if (!IsTruth(expression)) {
        return {"(~" + ToNumber(Value(*expression.operands[0])) + ")", ValueType::kWhole, false};
      }
      break;
    default: break;
  }
  return {"(-" + Condition(expression) + ")", ValueType::kTruth, false};
}

CompiledValue ExpressionCompiler::Binary(const Expression& expression) {
  const std::string& sign = expression.text;
  if (IsLogic(sign)) return Bitwise(expression);
  const CompiledValue left = Value(*expression.operands[0]);
  const CompiledValue right = Value(*expression.operands[1]);
  if (sign == "&") return {"acc__concat(" + ToText(left) + ", " + ToText(right) + ")", ValueType::kText, false};
  if (sign == "+") return Plus(left, right);
  const std::string a = ToNumber(left);
  const std::string b = ToNumber(right);
  if (sign == "-" || sign == "*") {
    return {"(" + a + " " + sign + " " + b + ")", ResultOf(sign, left.type, right.type), false};
  }
  if (sign == "/") return {"acc__divide(" + a + ", " + b + ")", ValueType::kReal, false};
  if (sign == "\\") return {"acc__quotient(" + a + ", " + b + ")", ValueType::kWhole, false};
  if (sign == "mod") return {"acc__mod(" + a + ", " + b + ")", ValueType::kWhole, false};
  return {"acc__power(" + a + ", " + b + ")", ValueType::kReal, false};
}

CompiledValue ExpressionCompiler::Plus(const CompiledValue& left, const CompiledValue& right) {
  if (left.type == ValueType::kText && right.type == ValueType::kText) {
    return {"(" + left.sql + " || " + right.sql + ")", ValueType::kText, false};
  }
  const auto open = [](ValueType type) { return type == ValueType::kUnknown || type == ValueType::kNull; };
  const bool unknown = open(left.type) || open(right.type);
  if (unknown && !IsNumber(left.type) && !IsNumber(right.type)) {
    return {"acc__plus(" + left.sql + ", " + right.sql + ")", ValueType::kUnknown, false};
  }
  return {"(" + ToNumber(left) + " + " + ToNumber(right) + ")", ResultOf("+", left.type, right.type), false};
}

CompiledValue ExpressionCompiler::Bitwise(const Expression& expression) {
  const std::string a = "CAST(" + ToNumber(Value(*expression.operands[0])) + " AS INTEGER)";
  const std::string b = "CAST(" + ToNumber(Value(*expression.operands[1])) + " AS INTEGER)";
  const std::string& word = expression.text;
  std::string sql;
  if (word == "and") {
    sql = a + " & " + b;
  } else if (word == "or") {
    sql = a + " | " + b;
  } else if (word == "imp") {
    sql = "~" + a + " | " + b;
  } else {
    const std::string different = "((" + a + " | " + b + ") - (" + a + " & " + b + "))";
    sql = word == "xor" ? different : "~" + different;
  }
  return {"(" + sql + ")", ValueType::kWhole, false};
}

// --- Conversions --------------------------------------------------------------------------------

std::string ExpressionCompiler::ToText(const CompiledValue& value) const {
  switch (value.type) {
    case ValueType::kText: return value.sql;
    case ValueType::kDate: return "acc__datetext(" + value.sql + ")";
    case ValueType::kCurrency: return "acc__text(round(" + value.sql + ", 4))";
    default: return "acc__text(" + value.sql + ")";
  }
}

std::string ExpressionCompiler::ToNumber(const CompiledValue& value) const {
  return IsNumber(value.type) ? value.sql : "acc__number(" + value.sql + ")";
}

std::string ExpressionCompiler::ToDate(const CompiledValue& value) const {
  return IsNumber(value.type) ? value.sql : "acc__date(" + value.sql + ")";
}

// --- Names --------------------------------------------------------------------------------------

ExpressionCompiler::Found ExpressionCompiler::FindColumn(const QueryScope& scope,
                                                         const Expression& name) const {
  Found found;
  const std::string& column = name.parts.back();
  for (const QuerySource& source : scope.sources) {
    if (name.parts.size() > 1 && !EqualText(source.name, name.parts[name.parts.size() - 2])) continue;
    for (std::size_t i = 0; i < source.columns.size(); ++i) {
      if (!EqualText(source.columns[i].name, column)) continue;
      if (found.source != nullptr) {
        throw SqlError("der Name '" + column + "' steht in mehr als einer Tabelle");
      }
      found = {&source, i};
      break;
    }
  }
  return found;
}

const Expression* ExpressionCompiler::FindAlias(const QueryScope& scope, const std::string& name) const {
  if (scope.select == nullptr) return nullptr;
  for (const OutputColumn& column : scope.select->columns) {
    if (column.expression != nullptr && !column.alias.empty() && EqualText(column.alias, name)) {
      return column.expression.get();
    }
  }
  return nullptr;
}

CompiledValue ExpressionCompiler::Name(const Expression& name) {
  if (NamesForm(name)) {
    throw SqlError("sie verwendet ein Feld eines Formulars oder Berichts ('" + Joined(name.parts, '!') +
                   "'), das es nur in Access gibt");
  }
  for (const QueryScope* scope = &scope_; scope != nullptr; scope = scope->outer) {
    if (const Found found = FindColumn(*scope, name); found.source != nullptr) {
      context_.UseColumn(*found.source, found.column);
      return {found.source->sql_alias + ".c" + std::to_string(found.column),
              found.source->columns[found.column].type, true};
    }
    const Expression* alias = name.parts.size() == 1 ? FindAlias(*scope, name.parts[0]) : nullptr;
    if (alias == nullptr || scope != &scope_) continue;
    if (!expanding_.insert(alias).second)
      throw SqlError("der Name '" + name.parts[0] + "' steht für sich selbst");
    CompiledValue value = Value(*alias);
    expanding_.erase(alias);
    return value;
  }
  context_.NoteParameter(Joined(name.parts, name.by_mark ? '!' : '.'));
  return {"NULL", ValueType::kUnknown, false};
}

// --- Functions ----------------------------------------------------------------------------------

CompiledValue ExpressionCompiler::Aggregate(const Expression& call) {
  const std::string& name = call.text;
  if (call.star) {
    if (name != "count") throw SqlError("'*' steht in der Funktion '" + name + "'");
    return {"count(*)", ValueType::kWhole, false};
  }
  if (call.operands.size() != 1) throw SqlError("die Funktion '" + name + "' verlangt einen Wert");
  const CompiledValue value = Value(*call.operands[0]);
  const std::string distinct = call.distinct ? "DISTINCT " : "";
  if (name == "count") return {"count(" + distinct + Collated(value) + ")", ValueType::kWhole, false};
  if (name == "min" || name == "max") return {name + "(" + Collated(value) + ")", value.type, false};
  if (name == "first" || name == "last") return {"acc_" + name + "(" + value.sql + ")", value.type, false};
  if (value.type == ValueType::kText) {
    throw SqlError("die Funktion '" + name + "' verlangt Zahlen und erhält einen Text");
  }
  const std::string number = distinct + ToNumber(value);
  if (name == "sum") {
    const ValueType type = value.type == ValueType::kTruth ? ValueType::kWhole : value.type;
    return {"sum(" + number + ")", type, false};
  }
  if (name == "avg") {
    const bool keeps = value.type == ValueType::kCurrency || value.type == ValueType::kDecimal ||
                       value.type == ValueType::kDate;
    return {"avg(" + number + ")", keeps ? value.type : ValueType::kReal, false};
  }
  return {"acc_" + name + "(" + number + ")", ValueType::kReal, false};
}

// The functions that give one of their arguments.
CompiledValue ExpressionCompiler::Choice(const Expression& call) {
  const auto need = [&](bool enough) {
    if (!enough) throw SqlError("die Funktion '" + call.text + "' hat zu wenige oder zu viele Argumente");
  };
  const std::size_t count = call.operands.size();
  std::string sql = "CASE";
  ValueType type = ValueType::kNull;
  const auto result = [&](const Expression& expression) {
    const CompiledValue value = Value(expression);
    type = CommonType(type, value.type);
    return value.sql;
  };
  if (call.text == "iif") {
    need(count == 2 || count == 3);
    sql += " WHEN " + Condition(*call.operands[0]) + " THEN " + result(*call.operands[1]);
    if (count == 3) sql += " ELSE " + result(*call.operands[2]);
  } else if (call.text == "switch") {
    need(count >= 2 && count % 2 == 0);
    for (std::size_t i = 0; i < count; i += 2) {
      sql += " WHEN " + Condition(*call.operands[i]) + " THEN " + result(*call.operands[i + 1]);
    }
  } else if (call.text == "choose") {
    need(count >= 2);
    sql += " CAST(" + ToNumber(Value(*call.operands[0])) + " AS INTEGER)";
    for (std::size_t i = 1; i < count; ++i)
      sql += " WHEN " + std::to_string(i) + " THEN " + result(*call.operands[i]);
  } else {  // Nz
    need(count == 1 || count == 2);
    const std::string value = result(*call.operands[0]);
    const bool number = IsNumber(type);
    const std::string instead = count == 2 ? result(*call.operands[1]) : number ? "0" : "''";
    return {"coalesce(" + value + ", " + instead + ")", type, false};
  }
  return {"(" + sql + " END)", type, false};
}

CompiledValue ExpressionCompiler::Call(const Expression& call) {
  const std::string& name = call.text;
  if (IsAggregate(call)) return Aggregate(call);
  if (name == "iif" || name == "switch" || name == "choose" || name == "nz") return Choice(call);
  if (name == "now" || name == "date" || name == "time") {
    const double now = SerialOf(SystemClock().Now());
    const double day = static_cast<double>(static_cast<std::int64_t>(now));
    return {RealLiteral(name == "now" ? now : name == "date" ? day : now - day), ValueType::kDate, false};
  }
  const QueryFunction* function = name.starts_with('_') ? nullptr : FindQueryFunction(name);
  if (function == nullptr) throw SqlError("die Funktion '" + name + "' gibt es hier nicht");
  const std::size_t count = call.operands.size();
  if (count < function->needed || count > function->arguments.size() || call.star) {
    throw SqlError("die Funktion '" + name + "' hat zu wenige oder zu viele Argumente");
  }
  std::string sql;
  ValueType type = function->result;
  bool date = false;
  for (std::size_t i = 0; i < count; ++i) {
    const CompiledValue value = Value(*call.operands[i]);
    if (i == 0) date = value.type == ValueType::kDate;
    if (i == 0 && type == ValueType::kUnknown) type = ResultOf("+", value.type, ValueType::kNull);
    if (i > 0) sql += ", ";
    switch (function->arguments[i]) {
      case 't': sql += ToText(value); break;
      case 'n': sql += ToNumber(value); break;
      case 'd': sql += ToDate(value); break;
      default: sql += value.sql;
    }
  }
  // A date is a number like others to the function itself.
  const std::string called = name == "format" && date ? "_formatdate" : name;
  return {"acc_" + called + "(" + sql + ")", type, false};
}

}  // namespace kestrel::access_sql
