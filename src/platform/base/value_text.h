// The one rule by which values of any source become text, so that date formats, numeric checks and
// translation tables work the same on every kind of source:
//
//   null          the empty text
//   truth value   "Wahr" or "Falsch"
//   whole number  its digits, "-" before a negative one
//   real number   the shortest text that reads back as the same number, with a decimal comma
//   decimal       as it is stored, with a decimal comma, trailing zeros of the fraction and the sign of a zero
//   dropped date "TT.MM.JJJJ", with " HH:MM:SS" only where the time is not midnight time alone "HH:MM:SS" bytes
//   hexadecimal digits in upper case text as it stands
#pragma once

#include <string>
#include <string_view>

#include "kestrel/date.h"

namespace kestrel {

std::string BoolText(bool truth);
// `decimal`: digits with an optional sign and a point, as databases write them ("-12.3400" -> "-12,34").
std::string DecimalText(std::string_view decimal);
// ISO forms as databases write them: "JJJJ-MM-TT", "JJJJ-MM-TT HH:MM:SS[.fff]", also with "T". Any other
// text comes back unchanged.
std::string IsoDateText(std::string_view iso);
std::string BytesText(std::string_view bytes);

}  // namespace kestrel
