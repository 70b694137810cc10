#include "platform/base/day_number.h"

#include <chrono>
#include <cstdio>

namespace kestrel {

std::optional<DateTime> DateTimeOfDays(std::int64_t days, std::int64_t seconds) {
  // Bounds well outside the calendar, so that the sums below cannot overflow.
  constexpr std::int64_t kMostDays = 4'000'000;
  constexpr std::int64_t kMostSeconds = kMostDays * kSecondsADay;
  if (days < -kMostDays || days > kMostDays || seconds < -kMostSeconds || seconds > kMostSeconds) {
    return std::nullopt;
  }
  days += seconds / kSecondsADay;
  seconds %= kSecondsADay;
  if (seconds < 0) {
    seconds += kSecondsADay;
    --days;
  }
  const std::chrono::year_month_day day(std::chrono::sys_days(std::chrono::days(static_cast<int>(days))));
  const CalendarDate date{static_cast<int>(day.year()), static_cast<int>(static_cast<unsigned>(day.month())),
                          static_cast<int>(static_cast<unsigned>(day.day()))};
  if (!IsRealDate(date)) return std::nullopt;
  return DateTime{date, static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
                  static_cast<int>(seconds % 60)};
}

std::string TimeText(std::int64_t seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
  return text;
}

}  // namespace kestrel
