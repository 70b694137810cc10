// Dates as Access keeps them: days since 30 December 1899 as a real number. The fraction is the time of day
// and always runs forwards, so -1.25 is six o'clock on 29 December 1899.
#pragma once

#include <optional>
#include <string>

#include "kestrel/date.h"

namespace kestrel::access_sql {

// The date and time, to the nearest second; none for a number beyond the years 1 to 9999.
std::optional<DateTime> DateTimeOf(double serial);
// Days and months out of range carry over into the month and year, as in DateSerial(2004, 14, -3).
double SerialOf(int year, int month, int day);
double SerialOf(const DateTime& value);
// A number of days and a time of day (seconds, not negative), put together.
double SerialOf(double whole_days, double seconds);

// By the rule of value_text.h; day 0 is a time alone, and a number beyond the calendar stays a number.
std::string SerialText(double serial);

// "13.2.2004", "2004-02-13", either with " 12:30[:15]"; a time alone. None where it is no date.
std::optional<double> ParseSerial(std::string_view text);
// The literal between #...#: month/day/year or year-month-day, with a time, also with AM or PM.
std::optional<double> ParseDateLiteral(std::string_view text);

}  // namespace kestrel::access_sql
