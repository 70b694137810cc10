// The functions of Access that queries may call, apart from those that SQL itself has (aggregates) and those
// that choose between their arguments (IIf, Nz, Switch, Choose).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "formats/access_sql/query_plan.h"
#include "kestrel/runtime_error.h"

namespace kestrel::access_sql {

// Null, a whole number (a truth value is -1 or 0), a real number (a date is its serial) or a text.
using QueryValue = std::variant<std::monostate, std::int64_t, double, std::string>;
using QueryArguments = std::span<const QueryValue>;

struct QueryFunction {
  std::string_view name;  // in lower case
  // One letter an argument, what it is converted to: t text, n number, d date, a as it is. The first `needed`
  // must be given.
  std::string_view arguments;
  std::size_t needed = 0;
  ValueType result = ValueType::kUnknown;  // kUnknown: the type of the first argument
  // Unless set, a null among the arguments makes the result null without a call.
  bool takes_null = false;
  // Raises 5, 6, 11 or 13 as the function does.
  QueryValue (*run)(QueryArguments arguments) = nullptr;
};

// The functions by area; a name occurs once. Names that start with "_" are operators.
std::span<const QueryFunction> TextFunctions();
std::span<const QueryFunction> NumberFunctions();
std::span<const QueryFunction> DateFunctions();

// Null where there is none of that name.
const QueryFunction* FindQueryFunction(std::string_view name);

// --- For the functions themselves; arguments have been converted ---------------------------------

// A whole number as it is, a real number rounded to even; 0 for an argument left out. Raises 6 beyond 32 bits.
std::int64_t WholeArgument(QueryArguments arguments, std::size_t index, std::int64_t missing = 0);
double RealArgument(QueryArguments arguments, std::size_t index, double missing = 0);
std::string_view TextArgument(QueryArguments arguments, std::size_t index);

// The text of a value of unknown type: numbers with a decimal comma, null is empty.
std::string TextOfValue(const QueryValue& value);

// Format(value, format).
std::string FormatValue(const QueryValue& value, std::string_view format);

}  // namespace kestrel::access_sql
