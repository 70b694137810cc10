// Dates as binary files store them: a number of days, and a time of day.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kestrel/date.h"

namespace kestrel {

// Day 0 of the calendars in use, as days before 1 January 1970.
inline constexpr std::int64_t kJulianDayOf1970 = 2440588;    // Julian day numbers
inline constexpr std::int64_t kSerialDayOf1970 = 25569;      // days since 30 December 1899
inline constexpr std::int64_t kSerial1904DayOf1970 = 24107;  // days since 1 January 1904

inline constexpr std::int64_t kSecondsADay = 86400;

// The date and time `days` days and `seconds` seconds after the start of 1970; `seconds` may be any number.
// No value outside the years 1 to 9999.
std::optional<DateTime> DateTimeOfDays(std::int64_t days, std::int64_t seconds);

// A time alone: "HH:MM:SS", the hours with more digits where they are 100 or more. `seconds` is not negative.
std::string TimeText(std::int64_t seconds);

}  // namespace kestrel
