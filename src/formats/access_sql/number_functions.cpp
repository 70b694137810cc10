#include <array>
#include <cmath>
#include <limits>

#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/query_functions.h"
#include "platform/base/number.h"

namespace kestrel::access_sql {
namespace {

bool IsWhole(const QueryValue& value) { return std::holds_alternative<std::int64_t>(value); }

// A real number as such, unless the argument was a whole one.
QueryValue Like(const QueryValue& argument, double result) {
  if (IsWhole(argument) && std::abs(result) < 9e15) return static_cast<std::int64_t>(result);
  return result;
}

QueryValue Truth(bool truth) { return std::int64_t{truth ? -1 : 0}; }

double Finite(double number) {
  if (!std::isfinite(number)) throw RuntimeError(ErrorNumber::kOverflow);
  return number;
}

// Rounded half to even, as Access's conversions do, and within these limits.
QueryValue Rounded(QueryArguments a, double least, double greatest) {
  const double number = std::nearbyint(RealArgument(a, 0));
  if (!(number >= least && number <= greatest)) throw RuntimeError(ErrorNumber::kOverflow);
  return static_cast<std::int64_t>(number);
}

QueryValue ToByte(QueryArguments a) { return Rounded(a, 0, 255); }
QueryValue ToInteger(QueryArguments a) { return Rounded(a, -32768, 32767); }
QueryValue ToLong(QueryArguments a) { return Rounded(a, -2147483648.0, 2147483647.0); }
QueryValue ToDouble(QueryArguments a) { return RealArgument(a, 0); }
QueryValue ToSingle(QueryArguments a) {
  const auto single = static_cast<float>(RealArgument(a, 0));
  return Finite(ParseNumber(FormatNumber(static_cast<double>(single))).value_or(0));
}
QueryValue ToCurrency(QueryArguments a) { return std::nearbyint(RealArgument(a, 0) * 10000) / 10000; }
QueryValue ToTruth(QueryArguments a) { return Truth(RealArgument(a, 0) != 0); }

QueryValue Absolute(QueryArguments a) { return Like(a[0], std::abs(RealArgument(a, 0))); }
QueryValue Floor(QueryArguments a) { return Like(a[0], std::floor(RealArgument(a, 0))); }
QueryValue Truncate(QueryArguments a) { return Like(a[0], std::trunc(RealArgument(a, 0))); }
QueryValue Sign(QueryArguments a) {
  const double number = RealArgument(a, 0);
  return std::int64_t{number > 0 ? 1 : number < 0 ? -1 : 0};
}

QueryValue Round(QueryArguments a) {
  const std::int64_t places = WholeArgument(a, 1);
  if (places < 0 || places > 15) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  const double factor = std::pow(10.0, static_cast<double>(places));
  const double scaled = RealArgument(a, 0) * factor;
  return Like(a[0], std::isfinite(scaled) ? std::nearbyint(scaled) / factor : RealArgument(a, 0));
}

QueryValue SquareRoot(QueryArguments a) {
  if (RealArgument(a, 0) < 0) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return std::sqrt(RealArgument(a, 0));
}
QueryValue Exponential(QueryArguments a) { return Finite(std::exp(RealArgument(a, 0))); }
QueryValue Logarithm(QueryArguments a) {
  if (RealArgument(a, 0) <= 0) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return std::log(RealArgument(a, 0));
}

// The number at the start of a text, with a point; blanks do not count.
QueryValue ValueOf(QueryArguments a) {
  std::string digits;
  bool point = false;
  for (const char c : TextArgument(a, 0)) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    const bool sign = (c == '-' || c == '+') && digits.empty();
    const bool first_point = c == '.' && !point;
    if (!sign && !first_point && (c < '0' || c > '9')) break;
    point = point || first_point;
    digits += c;
  }
  return ParseNumber(digits).value_or(0);
}

QueryValue IsNumber(QueryArguments a) {
  if (std::holds_alternative<std::monostate>(a[0])) return Truth(false);
  const auto* text = std::get_if<std::string>(&a[0]);
  return Truth(text == nullptr || IsNumeric(*text));
}

// What a text, or a value of unknown type, is as a number.
QueryValue NumberOf(QueryArguments a) {
  const auto* text = std::get_if<std::string>(&a[0]);
  if (text == nullptr) return a[0];
  const auto number = ParseNumber(*text);
  if (!number) throw RuntimeError(ErrorNumber::kTypeMismatch);
  return *number;
}

double Divisor(QueryArguments a) {
  const double divisor = RealArgument(a, 1);
  if (divisor == 0) throw RuntimeError(ErrorNumber::kDivisionByZero);
  return divisor;
}
QueryValue Divide(QueryArguments a) { return Finite(RealArgument(a, 0) / Divisor(a)); }

// \ and Mod round both numbers first.
std::int64_t WholeDivisor(QueryArguments a) {
  const std::int64_t divisor = WholeArgument(a, 1);
  if (divisor == 0) throw RuntimeError(ErrorNumber::kDivisionByZero);
  return divisor;
}
QueryValue Quotient(QueryArguments a) { return WholeArgument(a, 0) / WholeDivisor(a); }
QueryValue Modulo(QueryArguments a) { return WholeArgument(a, 0) % WholeDivisor(a); }
QueryValue Power(QueryArguments a) {
  const double result = std::pow(RealArgument(a, 0), RealArgument(a, 1));
  if (std::isnan(result)) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return Finite(result);
}

constexpr ValueType kWhole = ValueType::kWhole;
constexpr ValueType kReal = ValueType::kReal;
constexpr ValueType kSame = ValueType::kUnknown;
constexpr std::array kFunctions{
    QueryFunction{"cbyte", "n", 1, kWhole, false, ToByte},
    QueryFunction{"cint", "n", 1, kWhole, false, ToInteger},
    QueryFunction{"clng", "n", 1, kWhole, false, ToLong},
    QueryFunction{"cdbl", "n", 1, kReal, false, ToDouble},
    QueryFunction{"csng", "n", 1, kReal, false, ToSingle},
    QueryFunction{"ccur", "n", 1, ValueType::kCurrency, false, ToCurrency},
    QueryFunction{"cbool", "n", 1, ValueType::kTruth, false, ToTruth},
    QueryFunction{"abs", "n", 1, kSame, false, Absolute},
    QueryFunction{"int", "n", 1, kSame, false, Floor},
    QueryFunction{"fix", "n", 1, kSame, false, Truncate},
    QueryFunction{"sgn", "n", 1, kWhole, false, Sign},
    QueryFunction{"round", "nn", 1, kSame, false, Round},
    QueryFunction{"sqr", "n", 1, kReal, false, SquareRoot},
    QueryFunction{"exp", "n", 1, kReal, false, Exponential},
    QueryFunction{"log", "n", 1, kReal, false, Logarithm},
    QueryFunction{"val", "t", 1, kReal, false, ValueOf},
    QueryFunction{"isnumeric", "a", 1, ValueType::kTruth, true, IsNumber},
    QueryFunction{"_number", "a", 1, kReal, false, NumberOf},
    QueryFunction{"_divide", "nn", 2, kReal, false, Divide},
    QueryFunction{"_quotient", "nn", 2, kWhole, false, Quotient},
    QueryFunction{"_mod", "nn", 2, kWhole, false, Modulo},
    QueryFunction{"_power", "nn", 2, kReal, false, Power},
};

}  // namespace

std::span<const QueryFunction> NumberFunctions() { return kFunctions; }

}  // namespace kestrel::access_sql
