// A value that is handed over to the destination, as a person reads it.
#pragma once

#include <string>
#include <string_view>

#include "mapping/value_conversion.h"

namespace kestrel {

// Of a date field a day that is ready to be stored ("20240229000000") as "29.02.2024", with its time where it has one; of a
// numeric field a number as it is understood, with a decimal comma. Everything else as it stands. Raises nothing but 7.
std::string ShownValue(std::string_view text, FieldKind kind, bool is_date);

}  // namespace kestrel
