#include "formats/excel/number_style.h"

#include <algorithm>
#include <cmath>

#include "kestrel/date.h"
#include "platform/base/day_number.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

bool IsElapsedUnit(std::string_view bracketed) {
  return !bracketed.empty() && bracketed.find_first_not_of("hHmMsS") == std::string_view::npos;
}

// Serial days up to the 28 February 1900 are one too low, as the calendar of the format has a 29 February 1900.
constexpr std::int64_t kLastEarlyDay = 59;

}  // namespace

NumberStyle StyleOfFormatCode(std::string_view code) {
  if (EqualsIgnoringCase(code, "General") || EqualsIgnoringCase(code, "Standard")) return NumberStyle::kNumber;
  for (std::size_t i = 0; i < code.size(); ++i) {
    switch (code[i]) {
      case '"':  // a literal
        i = std::min(code.find('"', i + 1), code.size());
        break;
      case '\\':  // one literal character
      case '_':   // the width of a character
      case '*':   // a character repeated
        ++i;
        break;
      case '[': {  // a colour, a condition, a language, or a length of time
        const std::size_t end = std::min(code.find(']', i), code.size());
        if (IsElapsedUnit(code.substr(i + 1, end - i - 1))) return NumberStyle::kElapsed;
        i = end;
        break;
      }
      case ';': return NumberStyle::kNumber;
      case 'd':
      case 'D':
      case 'm':
      case 'M':
      case 'y':
      case 'Y':
      case 'h':
      case 'H':
      case 's':
      case 'S':
        // Lengths of time begin with their bracket, so that what follows cannot be one.
        return NumberStyle::kDate;
      default: break;
    }
  }
  return NumberStyle::kNumber;
}

NumberStyle StyleOfBuiltInFormat(int number) {
  constexpr int kElapsedHours = 46;
  if (number == kElapsedHours) return NumberStyle::kElapsed;
  const bool is_date = (number >= 14 && number <= 22) || (number >= 27 && number <= 36) ||
                       (number >= 45 && number <= 47) || (number >= 50 && number <= 58);
  return is_date ? NumberStyle::kDate : NumberStyle::kNumber;
}

std::string NumberText(double number, NumberStyle style, bool days_from_1904) {
  constexpr double kMostDays = 3'000'000;
  if (style == NumberStyle::kNumber || !(number >= 0) || number > kMostDays) return FormatNumber(number);
  const auto seconds = static_cast<std::int64_t>(std::llround(number * static_cast<double>(kSecondsADay)));
  if (style == NumberStyle::kElapsed) return TimeText(seconds);
  if (number < 1) return TimeText(std::min(seconds, kSecondsADay - 1));
  std::int64_t day = seconds / kSecondsADay;
  if (days_from_1904) {
    day -= kSerial1904DayOf1970;
  } else {
    day += (day <= kLastEarlyDay ? 1 : 0) - kSerialDayOf1970;
  }
  const auto time = DateTimeOfDays(day, seconds % kSecondsADay);
  return time ? FormatDateTime(*time) : FormatNumber(number);
}

}  // namespace kestrel::excel
