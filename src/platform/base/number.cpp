#include "platform/base/number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/base/text.h"

namespace kestrel {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Longest text of a number that is read without allocating.
constexpr std::size_t kShortNumber = 64;

// So many digits, and a power of ten with one less of them, are exact as doubles: their quotient is the double
// nearest to the decimal.
constexpr std::size_t kExactDigits = 15;
constexpr std::array<double, kExactDigits> kPowersOfTen = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                                           1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};

// The integer part of a number, cut at its group separators: groups of three but for the first, which has
// one to three digits.
bool IsGrouped(std::string_view digits, char separator) {
  std::size_t group = 0;
  bool first = true;
  for (const char c : digits) {
    if (c == separator) {
      if (first ? group < 1 || group > 3 : group != 3) return false;
      first = false;
      group = 0;
    } else {
      ++group;
    }
  }
  return first || group == 3;
}

// How the separators of "1.234,56" are meant.
struct Separators {
  bool valid = true;
  std::size_t decimal = std::string_view::npos;  // position of the decimal separator
  char group = 0;
};

Separators ReadSeparators(std::string_view mantissa) {
  std::size_t commas = 0, points = 0;
  std::size_t last_comma = 0, last_point = 0;
  for (std::size_t i = 0; i < mantissa.size(); ++i) {
    if (mantissa[i] == ',') {
      ++commas;
      last_comma = i;
    } else if (mantissa[i] == '.') {
      ++points;
      last_point = i;
    }
  }
  Separators result;
  if (commas + points == 0) return result;
  if (commas == 0 || points == 0) {
    if (commas + points == 1) {
      result.decimal = commas == 1 ? last_comma : last_point;
    } else {
      result.group = commas > 0 ? ',' : '.';
    }
  } else {
    const bool comma_is_decimal = last_comma > last_point;
    result.valid = (comma_is_decimal ? commas : points) == 1;
    result.decimal = comma_is_decimal ? last_comma : last_point;
    result.group = comma_is_decimal ? '.' : ',';
  }
  if (result.group != 0)
    result.valid = result.valid && IsGrouped(mantissa.substr(0, result.decimal), result.group);
  return result;
}

// "+1.234,5E3" as std::from_chars reads it: "1234.5E3", the sign apart.
struct PlainNumber {
  char buffer[kShortNumber];
  std::size_t length = 0;
  std::string longer;  // used instead where the text is long

  void Reserve(std::size_t size) {
    if (size > kShortNumber) longer.reserve(size);
  }
  void Append(char c) {
    if (longer.capacity() > kShortNumber) {
      longer.push_back(c);
    } else {
      buffer[length++] = c;
    }
  }
  std::string_view view() const {
    return longer.empty() ? std::string_view(buffer, length) : std::string_view(longer);
  }
};

// Whether a number beyond the range of a double ("12.5e-400", digits among them that are not 0) is too near
// to 0, not too far from it.
bool IsTiny(std::string_view number) {
  const std::size_t exponent_at = std::min(number.find('e'), number.size());
  const std::string_view mantissa = number.substr(0, exponent_at);
  const auto place = [](std::size_t at) { return static_cast<std::int64_t>(at); };
  const std::int64_t point = place(std::min(mantissa.find('.'), mantissa.size()));
  const std::int64_t first = place(mantissa.find_first_of("123456789"));
  std::int64_t exponent = 0;
  if (exponent_at < number.size()) {
    const std::string_view digits = number.substr(exponent_at + 1);
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    if (parsed.ec != std::errc()) return digits.starts_with('-');
  }
  // The place of the first digit that counts: 0 for tenths, less behind them.
  return exponent < first - point;
}

}  // namespace

std::optional<PlainDecimal> ReadPlainDecimal(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  if (text.size() > kExactDigits + 1) return std::nullopt;
  std::int64_t number = 0;
  std::size_t separator_at = std::string_view::npos;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (IsDigit(c)) {
      number = number * 10 + (c - '0');
    } else if ((c == ',' || c == '.') && separator_at == std::string_view::npos) {
      separator_at = i;
    } else {
      return std::nullopt;
    }
  }
  const bool is_whole = separator_at == std::string_view::npos;
  const std::size_t digits = text.size() - (is_whole ? 0 : 1);
  if (digits == 0 || digits > kExactDigits) return std::nullopt;
  if (is_whole) return PlainDecimal{negative ? -number : number, 0};
  // "5," and ",5" are left to the full rule, and so is the zero that a whole number cannot have a sign for.
  const std::size_t decimals = digits - separator_at;
  if (decimals == 0 || decimals == digits || (negative && number == 0)) return std::nullopt;
  return PlainDecimal{negative ? -number : number, static_cast<int>(decimals)};
}

double ToDouble(const PlainDecimal& decimal) {
  return static_cast<double>(decimal.number) / kPowersOfTen[static_cast<std::size_t>(decimal.decimals)];
}

std::optional<double> ParseNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (const auto decimal = ReadPlainDecimal(text)) return ToDouble(*decimal);
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }

  std::size_t mantissa_end = 0;
  std::size_t digits = 0;
  for (; mantissa_end < text.size(); ++mantissa_end) {
    const char c = text[mantissa_end];
    if (IsDigit(c)) {
      ++digits;
    } else if (c != ',' && c != '.') {
      break;
    }
  }
  if (digits == 0) return std::nullopt;
  const std::string_view mantissa = text.substr(0, mantissa_end);
  const std::string_view exponent = text.substr(mantissa_end);

  const Separators separators = ReadSeparators(mantissa);
  if (!separators.valid) return std::nullopt;
  PlainNumber plain;
  plain.Reserve(text.size() + 1);
  for (std::size_t i = 0; i < mantissa.size(); ++i) {
    if (i == separators.decimal) {
      plain.Append('.');
    } else if (IsDigit(mantissa[i])) {
      plain.Append(mantissa[i]);
    }
  }
  if (!exponent.empty()) {
    std::size_t i = 1;
    if (exponent[0] != 'e' && exponent[0] != 'E') return std::nullopt;
    plain.Append('e');
    if (i < exponent.size() && (exponent[i] == '-' || exponent[i] == '+')) {
      if (exponent[i] == '-') plain.Append('-');
      ++i;
    }
    if (i == exponent.size()) return std::nullopt;
    for (; i < exponent.size(); ++i) {
      if (!IsDigit(exponent[i])) return std::nullopt;
      plain.Append(exponent[i]);
    }
  }
  const std::string_view view = plain.view();
  double value = 0;
  const auto [end, error] = std::from_chars(view.data(), view.data() + view.size(), value);
  const bool is_tiny = error == std::errc::result_out_of_range && IsTiny(view);
  if (is_tiny) value = 0;
  if ((error != std::errc() && !is_tiny) || end != view.data() + view.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return negative ? -value : value;
}

bool IsNumeric(std::string_view text) {
  std::string_view rest = TrimBlanks(text);
  if (!rest.empty() && (rest.front() == '-' || rest.front() == '+')) rest.remove_prefix(1);
  std::size_t separators = 0;
  for (const char c : rest) {
    if (IsDigit(c)) continue;
    // Everything but digits with at most one separator is left to the full rule.
    if ((c != ',' && c != '.') || ++separators > 1) return ParseNumber(text).has_value();
  }
  // Neither a separator alone nor digits beyond the range of a double.
  if (rest.size() <= separators || rest.size() > kShortNumber) return ParseNumber(text).has_value();
  return true;
}

std::optional<std::int64_t> ParseWholeNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return std::nullopt;
  }
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

std::int64_t LeadingWholeNumber(std::string_view text) {
  text = TrimBlanks(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  std::int64_t number = 0;
  for (const char c : text) {
    if (!IsDigit(c)) break;
    if (number > (std::numeric_limits<std::int64_t>::max() - 9) / 10) {
      return negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    }
    number = number * 10 + (c - '0');
  }
  return negative ? -number : number;
}

std::string FormatNumber(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
  if (value == 0) return "0";
  // Whole numbers below 2^53 in plain digits; std::to_chars would prefer "1e+06".
  char buffer[64];
  const bool plain = std::fabs(value) < 1e15 && std::fabs(value) >= 1e-5;
  const auto result = plain ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed)
                            : std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, result.ptr);
  for (char& c : text) {
    if (c == '.') c = ',';
    if (c == 'e') c = 'E';
  }
  return text;
}

}  // namespace kestrel
