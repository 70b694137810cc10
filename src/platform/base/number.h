// Numbers as people write them in German and English files, and as this program writes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

// Reads a decimal number: optional blanks around it, a sign before it, digits, a decimal comma or
// point, group separators where they are unambiguous, an exponent (1,5E-3). Nothing else is a number: no
// currency sign, no hexadecimal, no "inf". At least one digit must stand before the exponent.
//
// Separators. With both kinds present, the one that comes last is the decimal one and must occur once;
// the other groups and must stand at every third digit, the first group having one to three digits. With
// one kind occurring more than once it groups, by the same rule. With one separator occurring once it is
// the decimal one ("1.234" is 1.234, "1,234" likewise).
//
// No value for a text that is not a number or one too large for a double; one too near to 0 for it is 0.
// Raises nothing.
std::optional<double> ParseNumber(std::string_view text);
// The same question without the value, which costs less.
bool IsNumeric(std::string_view text);

// The usual writing of a number, which most are found in: up to 15 digits, a sign before them, a decimal comma or point
// among them.
struct PlainDecimal {
  std::int64_t number = 0;  // of the digits alone, with the sign
  int decimals = 0;         // how many of them stand behind the comma, 0 to 14
};
// None for any other number, and for what is none.
std::optional<PlainDecimal> ReadPlainDecimal(std::string_view text);
// The nearest one, as ParseNumber gives it.
double ToDouble(const PlainDecimal& decimal);

// Whether the text is a number without fraction and exponent that fits 64 bits; its value if so.
std::optional<std::int64_t> ParseWholeNumber(std::string_view text);

// The leading whole number of a text in the way of the classic Val function: blanks skipped, a sign,
// digits; 0 where there is none. Out-of-range values stop at the limits.
std::int64_t LeadingWholeNumber(std::string_view text);

// Shortest text that reads back as the same double, with a decimal comma; whole numbers without one.
std::string FormatNumber(double value);

}  // namespace kestrel
