#include "ledger/decimal.h"

#include <array>
#include <charconv>
#include <string_view>

namespace kestrel::host {

namespace {

// Digits with an optional sign, point and exponent.
std::optional<Decimal> Read(std::string_view text) {
  Decimal number;
  if (text.starts_with('-') || text.starts_with('+')) {
    number.is_negative = text.front() == '-';
    text.remove_prefix(1);
  }
  bool has_digits = false;
  bool has_point = false;
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c >= '0' && c <= '9') {
      has_digits = true;
      if (has_point) --number.exponent;
      if (c != '0' || !number.digits.empty()) number.digits += c;
    } else if (c == '.' && !has_point) {
      has_point = true;
    } else {
      break;
    }
  }
  if (!has_digits) return std::nullopt;
  text.remove_prefix(at);
  if (!text.empty()) {
    if (text.front() != 'e' && text.front() != 'E') return std::nullopt;
    text.remove_prefix(1);
    if (text.starts_with('+')) text.remove_prefix(1);
    int exponent = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    constexpr int kGreatest = 1000000;
    if (error != std::errc() || end != text.data() + text.size() || exponent > kGreatest ||
        exponent < -kGreatest) {
      return std::nullopt;
    }
    number.exponent += exponent;
  }
  while (number.digits.ends_with('0')) {
    number.digits.pop_back();
    ++number.exponent;
  }
  if (number.digits.empty()) return Decimal();
  return number;
}

template <class Number>
std::optional<Decimal> ReadShortest(Number number) {
  std::array<char, 32> digits;
  char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return Read({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

}  // namespace

std::optional<Decimal> DecimalOf(const StoredValue& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return ReadShortest(*whole);
  if (const auto* real = std::get_if<double>(&value)) return ReadShortest(*real);
  if (const auto* text = std::get_if<std::string_view>(&value)) return Read(*text);
  return std::nullopt;
}

}  // namespace kestrel::host
