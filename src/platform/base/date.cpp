#include "kestrel/date.h"

#include <cstddef>

#include "platform/base/text.h"

namespace kestrel {

namespace {

// 1 to 4 digits and nothing else; -1 otherwise.
int ReadDigits(std::string_view text) {
  if (text.empty() || text.size() > 4) return -1;
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return -1;
    number = number * 10 + (c - '0');
  }
  return number;
}

// The last `width` digits of `number`.
void PutDigits(char* begin, int number, std::size_t width) {
  for (char* digit = begin + width; digit != begin; number /= 10) {
    *--digit = static_cast<char>('0' + number % 10);
  }
}

void AppendPadded(std::string& text, int number, std::size_t width) {
  text.resize(text.size() + width);
  PutDigits(text.data() + text.size() - width, number, width);
}

// "TT.MM.JJJJ", which most dates are written as, read without a look for its parts.
std::optional<CalendarDate> ReadUsualDate(std::string_view text) {
  if (text.size() != 10 || text[2] != '.' || text[5] != '.') return std::nullopt;
  bool all_digits = true;
  const auto digit = [&](std::size_t at) {
    const int value = text[at] - '0';
    all_digits &= value >= 0 && value <= 9;
    return value;
  };
  const int day = digit(0) * 10 + digit(1);
  const int month = digit(3) * 10 + digit(4);
  const int year = (digit(6) * 10 + digit(7)) * 100 + digit(8) * 10 + digit(9);
  if (!all_digits) return std::nullopt;
  return CalendarDate{year, month, day};
}

}  // namespace

bool IsRealDate(const CalendarDate& date) {
  if (date.year < 1 || date.year > 9999 || date.month < 1 || date.month > 12 || date.day < 1) return false;
  if (date.day <= 28) return true;
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (date.year % 4 == 0 && date.year % 100 != 0) || date.year % 400 == 0;
  const int days = kDays[date.month - 1] + (leap && date.month == 2 ? 1 : 0);
  return date.day <= days;
}

std::optional<CalendarDate> ParseGermanDate(std::string_view text) {
  if (const auto usual = ReadUsualDate(text)) return IsRealDate(*usual) ? usual : std::nullopt;
  text = TrimBlanks(text);
  const std::size_t first = text.find('.');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = text.find('.', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  const std::string_view day = text.substr(0, first);
  const std::string_view month = text.substr(first + 1, second - first - 1);
  const std::string_view year = text.substr(second + 1);
  if (day.size() > 2 || month.size() > 2 || (year.size() != 2 && year.size() != 4)) return std::nullopt;
  CalendarDate date{ReadDigits(year), ReadDigits(month), ReadDigits(day)};
  if (date.year < 0) return std::nullopt;
  if (year.size() == 2) date.year += date.year < 50 ? 2000 : 1900;
  if (!IsRealDate(date)) return std::nullopt;
  return date;
}

std::string FormatShortDate(const CalendarDate& date) {
  std::string text;
  AppendPadded(text, date.day, 2);
  text += '.';
  AppendPadded(text, date.month, 2);
  text += '.';
  AppendPadded(text, date.year, 4);
  return text;
}

std::string FormatDateTime(const DateTime& value) {
  std::string text = FormatShortDate(value.date);
  if (value.hour == 0 && value.minute == 0 && value.second == 0) return text;
  text += ' ';
  AppendPadded(text, value.hour, 2);
  text += ':';
  AppendPadded(text, value.minute, 2);
  text += ':';
  AppendPadded(text, value.second, 2);
  return text;
}

std::string FormatStoredDate(const CalendarDate& date) {
  std::string text(14, '0');
  PutDigits(text.data(), date.year, 4);
  PutDigits(text.data() + 4, date.month, 2);
  PutDigits(text.data() + 6, date.day, 2);
  return text;
}

}  // namespace kestrel
