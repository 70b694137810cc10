#include "platform/base/value_text.h"

#include <optional>

namespace kestrel {

namespace {

// Reads exactly `count` digits at `position` and moves behind them.
std::optional<int> TakeDigits(std::string_view text, std::size_t& position, std::size_t count) {
  if (position + count > text.size()) return std::nullopt;
  int number = 0;
  for (std::size_t end = position + count; position < end; ++position) {
    if (text[position] < '0' || text[position] > '9') return std::nullopt;
    number = number * 10 + (text[position] - '0');
  }
  return number;
}

bool Take(std::string_view text, std::size_t& position, char expected) {
  if (position >= text.size() || text[position] != expected) return false;
  ++position;
  return true;
}

// "HH:MM:SS" with an optional fraction, from `position` to the end.
bool ReadTime(std::string_view text, std::size_t position, DateTime& value) {
  const auto hour = TakeDigits(text, position, 2);
  if (!hour || !Take(text, position, ':')) return false;
  const auto minute = TakeDigits(text, position, 2);
  if (!minute || !Take(text, position, ':')) return false;
  const auto second = TakeDigits(text, position, 2);
  if (!second || *hour > 23 || *minute > 59 || *second > 59) return false;
  if (Take(text, position, '.')) {
    if (position == text.size()) return false;
    while (position < text.size()) {
      if (!TakeDigits(text, position, 1)) return false;
    }
  }
  value.hour = *hour;
  value.minute = *minute;
  value.second = *second;
  return position == text.size();
}

std::optional<DateTime> ReadIso(std::string_view text) {
  DateTime value;
  std::size_t position = 0;
  const auto year = TakeDigits(text, position, 4);
  if (!year || !Take(text, position, '-')) return std::nullopt;
  const auto month = TakeDigits(text, position, 2);
  if (!month || !Take(text, position, '-')) return std::nullopt;
  const auto day = TakeDigits(text, position, 2);
  if (!day) return std::nullopt;
  value.date = CalendarDate{*year, *month, *day};
  if (!IsRealDate(value.date)) return std::nullopt;
  if (position == text.size()) return value;
  if (text[position] != ' ' && text[position] != 'T') return std::nullopt;
  if (!ReadTime(text, position + 1, value)) return std::nullopt;
  return value;
}

}  // namespace

std::string BoolText(bool truth) { return truth ? "Wahr" : "Falsch"; }

std::string DecimalText(std::string_view decimal) {
  // Nothing is less than no amount: databases that round write "-0.00".
  if (decimal.starts_with("-0") && decimal.find_first_not_of("0.", 1) == std::string_view::npos) {
    decimal.remove_prefix(1);
  }
  std::string text(decimal);
  const std::size_t point = text.find('.');
  if (point == std::string::npos) return text;
  text[point] = ',';
  text.resize(text.find_last_not_of('0') + 1);
  if (text.back() == ',') text.pop_back();
  return text;
}

std::string IsoDateText(std::string_view iso) {
  const auto value = ReadIso(iso);
  return value ? FormatDateTime(*value) : std::string(iso);
}

std::string BytesText(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 15]);
  }
  return text;
}

}  // namespace kestrel
