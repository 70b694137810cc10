#include <algorithm>
#include <array>
#include <cmath>

#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/query_functions.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

DateTime DateArgument(QueryArguments a, std::size_t index) {
  const auto date = DateTimeOf(RealArgument(a, index));
  if (!date) throw RuntimeError(ErrorNumber::kOverflow);
  return *date;
}

double DayOf(double serial) { return std::trunc(serial); }
double DayOf(const DateTime& date) { return SerialOf(date.date.year, date.date.month, date.date.day); }
int SecondOf(const DateTime& date) { return date.hour * 3600 + date.minute * 60 + date.second; }

QueryValue YearOf(QueryArguments a) { return std::int64_t{DateArgument(a, 0).date.year}; }
QueryValue MonthOf(QueryArguments a) { return std::int64_t{DateArgument(a, 0).date.month}; }
QueryValue DayOfMonth(QueryArguments a) { return std::int64_t{DateArgument(a, 0).date.day}; }
QueryValue HourOf(QueryArguments a) { return std::int64_t{DateArgument(a, 0).hour}; }
QueryValue MinuteOf(QueryArguments a) { return std::int64_t{DateArgument(a, 0).minute}; }
QueryValue SecondOfMinute(QueryArguments a) { return std::int64_t{DateArgument(a, 0).second}; }

// 1 to 7, counted from `first` (1 Sunday, 2 Monday; 0 is the system's own, in Germany Monday).
std::int64_t WeekdayOf(double day, std::int64_t first) {
  if (first < 0 || first > 7) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  if (first == 0) first = 2;
  // 30.12.1899 was a Saturday.
  const auto from_sunday = (static_cast<std::int64_t>(day) % 7 + 13) % 7;
  return (from_sunday - (first - 1) + 7) % 7 + 1;
}

QueryValue Weekday(QueryArguments a) { return WeekdayOf(DayOf(DateArgument(a, 0)), WholeArgument(a, 1, 1)); }

std::int64_t DayOfYear(const DateTime& date) {
  return static_cast<std::int64_t>(DayOf(date) - SerialOf(date.date.year, 1, 1)) + 1;
}

// The week that holds 1 January is the first (Access's own rule unless told otherwise), or the first one with
// four days (2), or the first whole one (3).
std::int64_t WeekOf(const DateTime& date, std::int64_t first_day, std::int64_t first_week) {
  const auto start = [&](int year) {
    const double january = SerialOf(year, 1, 1);
    const std::int64_t weekday = WeekdayOf(january, first_day);
    const double week = january - static_cast<double>(weekday - 1);
    const std::int64_t days = 8 - weekday;
    return days < (first_week == 3 ? 7 : first_week == 2 ? 4 : 1) ? week + 7 : week;
  };
  const double day = DayOf(date);
  double first = start(date.date.year);
  if (day < first) first = start(date.date.year - 1);
  if (first_week >= 2 && day >= start(date.date.year + 1)) first = start(date.date.year + 1);
  return static_cast<std::int64_t>((day - first) / 7) + 1;
}

enum class Unit { kYear, kQuarter, kMonth, kDayOfYear, kDay, kWeekday, kWeek, kHour, kMinute, kSecond };

Unit UnitArgument(QueryArguments a) {
  struct Entry {
    std::string_view name;
    Unit unit;
  };
  constexpr std::array kUnits{Entry{"yyyy", Unit::kYear}, Entry{"q", Unit::kQuarter},
                              Entry{"m", Unit::kMonth},   Entry{"y", Unit::kDayOfYear},
                              Entry{"d", Unit::kDay},     Entry{"w", Unit::kWeekday},
                              Entry{"ww", Unit::kWeek},   Entry{"h", Unit::kHour},
                              Entry{"n", Unit::kMinute},  Entry{"s", Unit::kSecond}};
  const std::string_view name = TextArgument(a, 0);
  const auto found = std::find_if(kUnits.begin(), kUnits.end(),
                                  [&](const Entry& entry) { return EqualsIgnoringCase(entry.name, name); });
  if (found == kUnits.end()) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return found->unit;
}

QueryValue Part(QueryArguments a) {
  const DateTime date = DateArgument(a, 1);
  switch (UnitArgument(a)) {
    case Unit::kYear: return std::int64_t{date.date.year};
    case Unit::kQuarter: return std::int64_t{(date.date.month + 2) / 3};
    case Unit::kMonth: return std::int64_t{date.date.month};
    case Unit::kDayOfYear: return DayOfYear(date);
    case Unit::kDay: return std::int64_t{date.date.day};
    case Unit::kWeekday: return WeekdayOf(DayOf(date), WholeArgument(a, 2, 1));
    case Unit::kWeek: return WeekOf(date, WholeArgument(a, 2, 1), WholeArgument(a, 3, 1));
    case Unit::kHour: return std::int64_t{date.hour};
    case Unit::kMinute: return std::int64_t{date.minute};
    default: return std::int64_t{date.second};
  }
}

// The same day of another month, or its last day.
double AddMonths(const DateTime& date, std::int64_t months) {
  if (std::abs(months) > 200000) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  const int month = date.date.month + static_cast<int>(months);
  const double first = SerialOf(date.date.year, month, 1);
  const double last = SerialOf(date.date.year, month + 1, 1) - 1;
  return SerialOf(std::min(first + date.date.day - 1, last), SecondOf(date));
}

double AddSeconds(const DateTime& date, double seconds) {
  const double all = SecondOf(date) + seconds;
  const double days = std::floor(all / 86400);
  return SerialOf(DayOf(date) + days, all - days * 86400);
}

QueryValue Add(QueryArguments a) {
  const DateTime date = DateArgument(a, 2);
  const std::int64_t count = WholeArgument(a, 1);
  const auto number = static_cast<double>(count);
  double result = 0;
  switch (UnitArgument(a)) {
    case Unit::kYear: result = AddMonths(date, count * 12); break;
    case Unit::kQuarter: result = AddMonths(date, count * 3); break;
    case Unit::kMonth: result = AddMonths(date, count); break;
    case Unit::kWeek: result = AddSeconds(date, number * 7 * 86400); break;
    case Unit::kHour: result = AddSeconds(date, number * 3600); break;
    case Unit::kMinute: result = AddSeconds(date, number * 60); break;
    case Unit::kSecond: result = AddSeconds(date, number); break;
    default: result = AddSeconds(date, number * 86400); break;
  }
  if (!DateTimeOf(result)) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return result;
}

// How many borders of the unit lie between the dates, not how much time.
QueryValue Difference(QueryArguments a) {
  const DateTime from = DateArgument(a, 1);
  const DateTime to = DateArgument(a, 2);
  const std::int64_t days = static_cast<std::int64_t>(DayOf(to) - DayOf(from));
  const auto months = [](const DateTime& date) {
    return std::int64_t{date.date.year} * 12 + date.date.month - 1;
  };
  switch (UnitArgument(a)) {
    case Unit::kYear: return std::int64_t{to.date.year - from.date.year};
    case Unit::kQuarter: return months(to) / 3 - months(from) / 3;
    case Unit::kMonth: return months(to) - months(from);
    case Unit::kWeekday: return days / 7;
    case Unit::kWeek: {
      const std::int64_t first = WholeArgument(a, 3, 1);
      const auto week = [&](const DateTime& date) {
        return DayOf(date) - static_cast<double>(WeekdayOf(DayOf(date), first) - 1);
      };
      return static_cast<std::int64_t>((week(to) - week(from)) / 7);
    }
    case Unit::kHour: return days * 24 + to.hour - from.hour;
    case Unit::kMinute: return days * 1440 + SecondOf(to) / 60 - SecondOf(from) / 60;
    case Unit::kSecond: return days * 86400 + SecondOf(to) - SecondOf(from);
    default: return days;
  }
}

QueryValue MakeDate(QueryArguments a) {
  const auto number = [&](std::size_t index) {
    const std::int64_t value = WholeArgument(a, index);
    if (std::abs(value) > 32767) throw RuntimeError(ErrorNumber::kOverflow);
    return static_cast<int>(value);
  };
  int year = number(0);
  if (year >= 0 && year < 100) year += year < 30 ? 2000 : 1900;
  const double serial = SerialOf(year, number(1), number(2));
  if (!DateTimeOf(serial)) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  return serial;
}

QueryValue MakeTime(QueryArguments a) {
  const std::int64_t seconds = WholeArgument(a, 0) * 3600 + WholeArgument(a, 1) * 60 + WholeArgument(a, 2);
  if (std::abs(seconds) > std::int64_t{86400} * 10000) throw RuntimeError(ErrorNumber::kOverflow);
  return static_cast<double>(seconds) / 86400;
}

QueryValue DateOf(QueryArguments a) { return DayOf(RealArgument(a, 0)); }
QueryValue TimeOf(QueryArguments a) { return std::abs(RealArgument(a, 0) - DayOf(RealArgument(a, 0))); }
QueryValue Same(QueryArguments a) { return RealArgument(a, 0); }

QueryValue ToDate(QueryArguments a) {
  const auto* text = std::get_if<std::string>(&a[0]);
  if (text == nullptr) return RealArgument(a, 0);
  const auto serial = ParseSerial(*text);
  if (!serial) throw RuntimeError(ErrorNumber::kTypeMismatch);
  return *serial;
}

QueryValue IsDate(QueryArguments a) {
  const auto* text = std::get_if<std::string>(&a[0]);
  return std::int64_t{text != nullptr && ParseSerial(*text) ? -1 : 0};
}
// Asked of a date, which it is unless it is null.
QueryValue IsNotNull(QueryArguments a) {
  return std::int64_t{std::holds_alternative<std::monostate>(a[0]) ? 0 : -1};
}

constexpr std::array<std::string_view, 12> kMonths{"Januar",    "Februar", "März",     "April",
                                                   "Mai",       "Juni",    "Juli",     "August",
                                                   "September", "Oktober", "November", "Dezember"};
constexpr std::array<std::string_view, 7> kWeekdays{"Sonntag",    "Montag",  "Dienstag", "Mittwoch",
                                                    "Donnerstag", "Freitag", "Samstag"};

std::string NameOf(std::span<const std::string_view> names, std::int64_t number, bool brief,
                   std::size_t letters) {
  if (number < 1 || number > static_cast<std::int64_t>(names.size())) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  }
  const std::string_view name = names[static_cast<std::size_t>(number - 1)];
  return std::string(brief ? Left(name, letters) : name);
}

QueryValue MonthName(QueryArguments a) {
  return NameOf(kMonths, WholeArgument(a, 0), WholeArgument(a, 1) != 0, 3);
}
QueryValue WeekdayName(QueryArguments a) {
  const std::int64_t first = WholeArgument(a, 2) == 0 ? 2 : WholeArgument(a, 2);
  return NameOf(kWeekdays, (WholeArgument(a, 0) + first - 2) % 7 + 1, WholeArgument(a, 1) != 0, 2);
}

// --- Format -------------------------------------------------------------------------------------

std::string Padded(std::int64_t number, std::size_t digits) {
  std::string text = std::to_string(number);
  if (text.size() < digits) text.insert(0, digits - text.size(), '0');
  return text;
}

char Small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// One piece of a date format: a letter, `count` times.
std::string DatePiece(char letter, std::size_t count, bool minutes, const DateTime& date) {
  const double day = DayOf(date);
  switch (letter) {
    case 'd':
      if (count >= 3) return NameOf(kWeekdays, WeekdayOf(day, 1), count == 3, 2);
      return Padded(date.date.day, count);
    case 'm':
      if (minutes) return Padded(date.minute, std::min<std::size_t>(count, 2));
      if (count >= 3) return NameOf(kMonths, date.date.month, count == 3, 3);
      return Padded(date.date.month, count);
    case 'y':
      if (count == 1) return std::to_string(DayOfYear(date));
      return count == 2 ? Padded(date.date.year % 100, 2) : Padded(date.date.year, 4);
    case 'w': return std::to_string(count == 1 ? WeekdayOf(day, 1) : WeekOf(date, 1, 1));
    case 'q': return std::to_string((date.date.month + 2) / 3);
    case 'h': return Padded(date.hour, std::min<std::size_t>(count, 2));
    case 'n': return Padded(date.minute, std::min<std::size_t>(count, 2));
    default: return Padded(date.second, std::min<std::size_t>(count, 2));
  }
}

std::string FormatDate(const DateTime& date, std::string_view format) {
  constexpr std::string_view kLetters = "dmywqhns";
  std::string text;
  bool after_hour = false;
  for (std::size_t i = 0; i < format.size();) {
    const char letter = Small(format[i]);
    if (format[i] == '"' || format[i] == '\\') {
      const bool quoted = format[i] == '"';
      const std::size_t end =
          quoted ? std::min(format.find('"', i + 1), format.size()) : std::min(i + 2, format.size());
      text += format.substr(i + 1, end - i - 1);
      i = quoted ? end + 1 : end;
      continue;
    }
    if (kLetters.find(letter) == std::string_view::npos) {
      // "/" stands for the country's own separator.
      text += format[i] == '/' ? '.' : format[i];
      ++i;
      continue;
    }
    std::size_t count = 1;
    while (i + count < format.size() && Small(format[i + count]) == letter) ++count;
    text += DatePiece(letter, count, after_hour, date);
    if (letter == 'h') after_hour = true;
    if (letter == 'm' || letter == 'n') after_hour = false;
    i += count;
  }
  return text;
}

QueryValue FormatDateValue(QueryArguments a) {
  const auto date = DateTimeOf(RealArgument(a, 0));
  const std::string_view format = a.size() > 1 ? TextArgument(a, 1) : std::string_view();
  if (!date || format.empty() || EqualsIgnoringCase(format, "General Date"))
    return SerialText(RealArgument(a, 0));
  struct Named {
    std::string_view name;
    std::string_view format;
  };
  constexpr std::array kNamed{Named{"Long Date", "dddd, d. mmmm yyyy"},
                              Named{"Medium Date", "dd. mmm yy"},
                              Named{"Short Date", "dd.mm.yyyy"},
                              Named{"Long Time", "hh:nn:ss"},
                              Named{"Medium Time", "hh:nn"},
                              Named{"Short Time", "hh:nn"}};
  for (const Named& named : kNamed) {
    if (EqualsIgnoringCase(format, named.name)) return FormatDate(*date, named.format);
  }
  return FormatDate(*date, format);
}

constexpr ValueType kWhole = ValueType::kWhole;
constexpr ValueType kDate = ValueType::kDate;
constexpr ValueType kText = ValueType::kText;
constexpr std::array kFunctions{
    QueryFunction{"year", "d", 1, kWhole, false, YearOf},
    QueryFunction{"month", "d", 1, kWhole, false, MonthOf},
    QueryFunction{"day", "d", 1, kWhole, false, DayOfMonth},
    QueryFunction{"hour", "d", 1, kWhole, false, HourOf},
    QueryFunction{"minute", "d", 1, kWhole, false, MinuteOf},
    QueryFunction{"second", "d", 1, kWhole, false, SecondOfMinute},
    QueryFunction{"weekday", "dn", 1, kWhole, false, Weekday},
    QueryFunction{"datepart", "tdnn", 2, kWhole, false, Part},
    QueryFunction{"dateadd", "tnd", 3, kDate, false, Add},
    QueryFunction{"datediff", "tddnn", 3, kWhole, false, Difference},
    QueryFunction{"dateserial", "nnn", 3, kDate, false, MakeDate},
    QueryFunction{"timeserial", "nnn", 3, kDate, false, MakeTime},
    QueryFunction{"datevalue", "d", 1, kDate, false, DateOf},
    QueryFunction{"timevalue", "d", 1, kDate, false, TimeOf},
    QueryFunction{"cdate", "d", 1, kDate, false, Same},
    QueryFunction{"cvdate", "d", 1, kDate, false, Same},
    QueryFunction{"isdate", "a", 1, ValueType::kTruth, true, IsDate},
    QueryFunction{"monthname", "nn", 1, kText, false, MonthName},
    QueryFunction{"weekdayname", "nnn", 1, kText, false, WeekdayName},
    QueryFunction{"_date", "a", 1, kDate, false, ToDate},
    QueryFunction{"_isdate", "a", 1, ValueType::kTruth, true, IsNotNull},
    QueryFunction{"_formatdate", "dt", 1, kText, false, FormatDateValue},
};

}  // namespace

std::span<const QueryFunction> DateFunctions() { return kFunctions; }

}  // namespace kestrel::access_sql
