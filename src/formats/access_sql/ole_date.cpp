#include "formats/access_sql/ole_date.h"

#include <chrono>
#include <cmath>
#include <vector>

#include "platform/base/day_number.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

constexpr std::chrono::sys_days kDayZero = std::chrono::year{1899} / 12 / 30;

std::optional<int> SmallNumber(std::string_view digits) {
  if (digits.empty() || digits.size() > 4) return std::nullopt;
  int number = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return std::nullopt;
    number = number * 10 + (digit - '0');
  }
  return number;
}

// The numbers between separators; none where a piece is no number.
std::optional<std::vector<int>> Numbers(std::string_view text, char separator) {
  std::vector<int> numbers;
  for (const std::string_view piece : Split(text, separator)) {
    const auto number = SmallNumber(piece);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

// "12:30[:15][ AM|PM]" in seconds.
std::optional<double> ParseTime(std::string_view text) {
  int add = 0;
  bool half_days = false;
  if (text.size() > 2) {
    const std::string_view last = text.substr(text.size() - 2);
    half_days = EqualsIgnoringCase(last, "am") || EqualsIgnoringCase(last, "pm");
    if (EqualsIgnoringCase(last, "pm")) add = 12;
    if (half_days) text = TrimBlanks(text.substr(0, text.size() - 2));
  }
  const auto numbers = Numbers(text, ':');
  if (!numbers || numbers->size() < 2 || numbers->size() > 3) return std::nullopt;
  int hour = (*numbers)[0];
  if (half_days && (hour < 1 || hour > 12)) return std::nullopt;
  if (half_days) hour = hour % 12 + add;
  const int minute = (*numbers)[1];
  const int second = numbers->size() == 3 ? (*numbers)[2] : 0;
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return hour * 3600 + minute * 60 + second;
}

std::optional<double> CheckedDate(int year, int month, int day) {
  if (year < 30) {
    year += 2000;
  } else if (year < 100) {
    year += 1900;
  }
  if (!IsRealDate({year, month, day})) return std::nullopt;
  return SerialOf(year, month, day);
}

// A date, a time or both; `date` reads the date.
template <class ParseDate>
std::optional<double> ParseBoth(std::string_view text, ParseDate&& date) {
  text = TrimBlanks(text);
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return date(text);
  const std::size_t blank = text.substr(0, colon).find_last_of(" T");
  const auto seconds = ParseTime(TrimBlanks(text.substr(blank == std::string_view::npos ? 0 : blank + 1)));
  if (!seconds) return std::nullopt;
  if (blank == std::string_view::npos) return *seconds / double{kSecondsADay};
  const auto days = date(TrimBlanks(text.substr(0, blank)));
  if (!days) return std::nullopt;
  return SerialOf(*days, *seconds);
}

std::optional<double> ParseIsoDate(std::string_view text) {
  const auto numbers = Numbers(text, '-');
  if (!numbers || numbers->size() != 3) return std::nullopt;
  return CheckedDate((*numbers)[0], (*numbers)[1], (*numbers)[2]);
}

}  // namespace

std::optional<DateTime> DateTimeOf(double serial) {
  if (!std::isfinite(serial) || std::abs(serial) > 1e8) return std::nullopt;
  const double whole = std::trunc(serial);
  const double seconds = std::round(std::abs(serial - whole) * kSecondsADay);
  return DateTimeOfDays(static_cast<std::int64_t>(whole) - kSerialDayOf1970,
                        static_cast<std::int64_t>(seconds));
}

double SerialOf(int year, int month, int day) {
  const int months = month - 1;
  const int years = months >= 0 ? months / 12 : (months - 11) / 12;
  const std::chrono::year_month_day first(std::chrono::year(year + years),
                                          std::chrono::month(static_cast<unsigned>(months - years * 12 + 1)),
                                          std::chrono::day(1));
  const auto days = std::chrono::sys_days(first) - kDayZero;
  return static_cast<double>(days.count()) + day - 1;
}

double SerialOf(double whole_days, double seconds) {
  const double fraction = seconds / double{kSecondsADay};
  return whole_days < 0 ? whole_days - fraction : whole_days + fraction;
}

double SerialOf(const DateTime& value) {
  return SerialOf(SerialOf(value.date.year, value.date.month, value.date.day),
                  value.hour * 3600 + value.minute * 60 + value.second);
}

std::string SerialText(double serial) {
  const auto value = DateTimeOf(serial);
  if (!value) return FormatNumber(serial);
  if (value->date != CalendarDate{1899, 12, 30}) return FormatDateTime(*value);
  return TimeText(value->hour * 3600 + value->minute * 60 + value->second);
}

std::optional<double> ParseSerial(std::string_view text) {
  return ParseBoth(text, [](std::string_view date) -> std::optional<double> {
    if (const auto german = ParseGermanDate(date)) return SerialOf(german->year, german->month, german->day);
    return ParseIsoDate(date);
  });
}

std::optional<double> ParseDateLiteral(std::string_view text) {
  return ParseBoth(text, [](std::string_view date) -> std::optional<double> {
    const auto numbers = Numbers(date, '/');
    if (!numbers || numbers->size() != 3) return ParseIsoDate(date);
    // Where the first number cannot be a month, it is the day.
    if ((*numbers)[0] > 12) return CheckedDate((*numbers)[2], (*numbers)[1], (*numbers)[0]);
    return CheckedDate((*numbers)[2], (*numbers)[0], (*numbers)[1]);
  });
}

}  // namespace kestrel::access_sql
