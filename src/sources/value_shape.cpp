#include "sources/value_shape.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/base/text.h"

namespace kestrel {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
}

// Takes 1 to `most` digits off; how many there were.
std::size_t TakeDigits(std::string_view& text, std::size_t most) {
  std::size_t count = 0;
  while (count < most && count < text.size() && IsDigit(text[count])) ++count;
  text.remove_prefix(count);
  return count;
}

bool TakeOne(std::string_view& text, std::string_view of) {
  if (text.empty() || of.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

bool TakeTime(std::string_view& text) {
  std::string_view rest = text;
  if (TakeDigits(rest, 2) == 0 || !TakeOne(rest, ":") || TakeDigits(rest, 2) != 2) return false;
  if (TakeOne(rest, ":") && TakeDigits(rest, 2) != 2) return false;
  text = rest;
  return true;
}

bool IsTime(std::string_view text) { return TakeTime(text) && text.empty(); }

bool IsDate(std::string_view text) {
  const std::size_t first = TakeDigits(text, 4);
  const std::size_t separator_at = text.find_first_of("./-");
  if (first == 0 || first == 3 || separator_at != 0) return false;
  const std::string_view separator = text.substr(0, 1);
  text.remove_prefix(1);
  const std::size_t second = TakeDigits(text, 2);
  if (second == 0 || !TakeOne(text, separator)) return false;
  const std::size_t third = TakeDigits(text, 4);
  const bool is_whole = first == 4 ? third == 1 || third == 2 : third == 2 || third == 4;
  if (!is_whole || text.empty()) return is_whole;
  return TakeOne(text, " T") && TakeTime(text) && text.empty();
}

// With separators of thousands and of decimals, sign, percent sign or currency.
bool IsNumber(std::string_view text) {
  for (const std::string_view unit : {"€", "EUR", "%", "$"}) {
    if (text.ends_with(unit)) text.remove_suffix(unit.size());
    if (text.starts_with(unit)) text.remove_prefix(unit.size());
  }
  text = TrimBlanks(text);
  if (!TakeOne(text, "+-") && text.ends_with('-')) text.remove_suffix(1);
  if (text.empty() || !IsDigit(text.back())) return false;
  bool was_digit = false;
  for (; !text.empty(); text.remove_prefix(1)) {
    const bool is_digit = IsDigit(text.front());
    const bool separates = text.front() == '.' || text.front() == ',' || text.front() == '\'';
    if (!is_digit && !(separates && (was_digit || text.size() > 1))) return false;
    if (!is_digit && !was_digit && text.front() == '\'') return false;
    was_digit = is_digit;
  }
  return true;
}

bool IsPhone(std::string_view text) {
  constexpr std::size_t kFewestDigits = 5;
  if (text.front() != '+' && text.front() != '0' && text.front() != '(') return false;
  const auto allowed = [](char c) {
    return IsDigit(c) || std::string_view("+ /-()").find(c) != std::string_view::npos;
  };
  return std::all_of(text.begin(), text.end(), allowed) &&
         static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsDigit)) >= kFewestDigits;
}

bool IsEmail(std::string_view text) {
  const std::size_t at = text.find('@');
  if (at == 0 || at == std::string_view::npos || text.find_first_of(" ,;|\t\"") != std::string_view::npos)
    return false;
  const std::string_view host = text.substr(at + 1);
  const std::size_t point = host.rfind('.');
  return host.find('@') == std::string_view::npos && point != 0 && point != std::string_view::npos &&
         point + 1 < host.size();
}

bool IsUrl(std::string_view text) {
  const bool begins = text.starts_with("http://") || text.starts_with("https://") || text.starts_with("www.");
  return begins && text.find_first_of(" ;|\t\"") == std::string_view::npos;
}

bool IsText(std::string_view text) {
  // A value in apostrophes is an enclosed one.
  if (text.size() > 1 && text.front() == '\'' && text.back() == '\'') return false;
  return std::all_of(text.begin(), text.end(), [](char c) {
    return IsLetter(c) || IsDigit(c) ||
           std::string_view(" .,-/&'()+_#:!?*%@\n").find(c) != std::string_view::npos;
  });
}

}  // namespace

ValueShape ShapeOf(std::string_view value) {
  const std::string_view text = TrimBlanks(value);
  if (text.empty()) return ValueShape::kEmpty;
  struct Test {
    bool (*is_one)(std::string_view);
    ValueShape shape;
  };
  // A number with a leading zero and nothing else in it is a number.
  static constexpr std::array<Test, 7> kTests = {{{IsDate, ValueShape::kDate},
                                                  {IsNumber, ValueShape::kNumber},
                                                  {IsTime, ValueShape::kTime},
                                                  {IsPhone, ValueShape::kPhone},
                                                  {IsEmail, ValueShape::kEmail},
                                                  {IsUrl, ValueShape::kUrl},
                                                  {IsText, ValueShape::kText}}};
  const auto* const test =
      std::find_if(kTests.begin(), kTests.end(), [&](const Test& candidate) { return candidate.is_one(text); });
  return test == kTests.end() ? ValueShape::kOther : test->shape;
}

bool IsOfData(ValueShape shape) {
  return shape != ValueShape::kEmpty && shape != ValueShape::kText && shape != ValueShape::kOther;
}

}  // namespace kestrel
