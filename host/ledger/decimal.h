// A number digit by digit, so that two are the same only where no digit differs: a double cannot tell those of more than 15
// digits apart.
#pragma once

#include <optional>
#include <string>

#include "storage/field_value.h"

namespace kestrel::host {

struct Decimal {
  bool is_negative = false;  // not of zero
  std::string digits;        // without zeros at either end; empty for zero
  int exponent = 0;          // of ten, behind the last digit
  friend bool operator==(const Decimal&, const Decimal&) = default;
};

// The number that a value is, also where a database keeps it as text ("-12.50", "1e+300"); none for another text and null.
// Of a real number the shortest digits that read as the same.
std::optional<Decimal> DecimalOf(const StoredValue& value);

}  // namespace kestrel::host
