// Calendar dates (proleptic Gregorian, years 1 to 9999) and their German texts. Nothing here raises;
// any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kestrel/export.h"

namespace kestrel {

// A day; all 0: none.
struct CalendarDate {
  int year = 0;   // 1 to 9999
  int month = 0;  // 1 to 12
  int day = 0;    // 1 to 31
  friend bool operator==(const CalendarDate&, const CalendarDate&) = default;
};

// A day and a time of it, without a zone.
struct DateTime {
  CalendarDate date;  // its day
  int hour = 0;       // 0 to 23
  int minute = 0;     // 0 to 59
  int second = 0;     // 0 to 59
  friend bool operator==(const DateTime&, const DateTime&) = default;
};

// Whether the day exists.
KESTREL_EXPORT bool IsRealDate(const CalendarDate& date);

// Reads day.month.year, each of digits only (one or two for day and month; two or four for the year),
// blanks around the whole allowed. Years 00 to 49 are 20yy, 50 to 99 are 19yy. No value unless the day
// exists. Raises nothing.
KESTREL_EXPORT std::optional<CalendarDate> ParseGermanDate(std::string_view text);

// "TT.MM.JJJJ".
KESTREL_EXPORT std::string FormatShortDate(const CalendarDate& date);
// "TT.MM.JJJJ", with " HH:MM:SS" only where the time is not midnight: a database date as source text.
KESTREL_EXPORT std::string FormatDateTime(const DateTime& value);
// "JJJJMMTT000000".
KESTREL_EXPORT std::string FormatStoredDate(const CalendarDate& date);

}  // namespace kestrel
