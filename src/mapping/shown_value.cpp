#include "mapping/shown_value.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr std::string_view kStoredForm = "JJJJMMTThhmmss";
// More of them a number of floating point does not keep.
constexpr std::ptrdiff_t kMostDigits = 15;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<DateTime> ReadStored(std::string_view text) {
  if (text.size() != kStoredForm.size() || !std::all_of(text.begin(), text.end(), IsDigit)) return std::nullopt;
  const auto number = [&](std::size_t start, std::size_t count) {
    int value = 0;
    for (const char digit : text.substr(start, count)) value = value * 10 + (digit - '0');
    return value;
  };
  const DateTime stored{{number(0, 4), number(4, 2), number(6, 2)}, number(8, 2), number(10, 2), number(12, 2)};
  if (!IsRealDate(stored.date) || stored.hour > 23 || stored.minute > 59 || stored.second > 59) {
    return std::nullopt;
  }
  return stored;
}

}  // namespace

std::string ShownValue(std::string_view text, FieldKind kind, bool is_date) {
  if (is_date) {
    if (const std::optional<DateTime> stored = ReadStored(text)) return FormatDateTime(*stored);
  }
  if (kind == FieldKind::kNumeric && std::count_if(text.begin(), text.end(), IsDigit) <= kMostDigits) {
    if (const std::optional<double> number = ParseNumber(text)) return FormatNumber(*number);
  }
  return std::string(text);
}

}  // namespace kestrel
