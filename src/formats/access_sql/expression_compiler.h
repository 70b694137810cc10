// Turns an expression of Access into one of SQLite that means the same.
#pragma once

#include <map>
#include <set>
#include <string>

#include "formats/access_sql/query_scope.h"

namespace kestrel::access_sql {

class ExpressionCompiler {
 public:
  // All must outlive this.
  ExpressionCompiler(QueryContext& context, const QueryScope& scope) : context_(context), scope_(scope) {}

  // Raises 3000 for what cannot be run: unknown functions, form fields, texts compared with numbers, names
  // that several tables have.
  CompiledValue Value(const Expression& expression);
  // As the condition of a row: true, false or null.
  std::string Condition(const Expression& expression);

 private:
  struct Found {
    const QuerySource* source = nullptr;
    std::size_t column = 0;
  };

  bool IsTruth(const Expression& expression);
  bool FindTruth(const Expression& expression);
  CompiledValue CompileValue(const Expression& expression);
  std::string CompileCondition(const Expression& expression);
  CompiledValue Name(const Expression& name);
  Found FindColumn(const QueryScope& scope, const Expression& name) const;
  const Expression* FindAlias(const QueryScope& scope, const std::string& name) const;
  CompiledValue Binary(const Expression& expression);
  CompiledValue Plus(const CompiledValue& left, const CompiledValue& right);
  std::string Comparison(const Expression& expression);
  std::string In(const Expression& expression);
  std::string Logic(const Expression& expression);
  CompiledValue Bitwise(const Expression& expression);
  CompiledValue Call(const Expression& call);
  CompiledValue Aggregate(const Expression& call);
  CompiledValue Choice(const Expression& call);

  std::string ToText(const CompiledValue& value) const;
  std::string ToNumber(const CompiledValue& value) const;
  std::string ToDate(const CompiledValue& value) const;
  // For comparisons: decimals beyond a real number's digits are kept as texts.
  CompiledValue Comparable(const Expression& expression);
  void RequireComparable(const CompiledValue& left, const CompiledValue& right) const;

  QueryContext& context_;
  const QueryScope& scope_;
  std::map<const Expression*, bool> truths_;  // what IsTruth found, as finding it means compiling
  std::set<const Expression*> expanding_;     // aliases, to find those that name themselves
};

// Whether the expression holds an aggregate function outside subselects.
bool HasAggregate(const Expression& expression);

// The type of a column whose values come from both.
ValueType CommonType(ValueType a, ValueType b);

}  // namespace kestrel::access_sql
