// Values that a dBase table stores as binary numbers, as texts by the rule of value_text.h.
//
// Tables of level 7 store numbers so that their bytes sort: the upper end first, the sign turned round, all of
// a negative double inverted. All other tables store them the lowest byte first.
#pragma once

#include <string>

#include "platform/base/byte_span.h"

namespace kestrel::dbase {

// Four bytes.
std::string WholeNumberText(Bytes field, bool is_level7);
// Eight bytes.
std::string DoubleText(Bytes field, bool is_level7);
// Eight bytes: ten-thousandths.
std::string CurrencyText(Bytes field);
// Eight bytes: the Julian day and the milliseconds of the day. Empty for a day that does not exist.
std::string TimestampText(Bytes field);
// Eight bytes: the milliseconds since the beginning of the year 1 as a double, upper end first; some programs
// turn its sign round and some write what TimestampText reads. Error 3000 where it is none of these.
std::string Level7TimestampText(Bytes field);

}  // namespace kestrel::dbase
