// Numbers for new rows within a range.
#pragma once

#include <memory>

#include "kestrel/connection.h"
#include "schema/destination.h"
#include "schema/number_range.h"
#include "storage/free_numbers.h"

namespace kestrel::host {

// Numbers for new rows of the destination's table within the range, behind the greatest one in it. Next raises error 6
// where the range is used up. `connection` outlives the object.
std::unique_ptr<FreeNumbers> NumbersInRange(Connection& connection, const Destination& destination,
                                            NumberRange range);

}  // namespace kestrel::host
