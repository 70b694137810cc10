// What a number in a cell means, by the cell's number format, and its text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel::excel {

enum class NumberStyle : std::uint8_t {
  kNumber,
  kDate,     // days since the workbook's first day, the time as a fraction
  kElapsed,  // a length of time that may be longer than a day
};

// The meaning of a format code such as "0.00", "dd\.mm\.yyyy" or "[h]:mm", by its first section.
NumberStyle StyleOfFormatCode(std::string_view code);
// The meaning of a built-in format.
NumberStyle StyleOfBuiltInFormat(int number);

// A number as text, by the rule of value_text.h. A date before day 1 is a time alone; one that does not exist
// (negative, beyond the year 9999) stays a number.
std::string NumberText(double number, NumberStyle style, bool days_from_1904);

}  // namespace kestrel::excel
