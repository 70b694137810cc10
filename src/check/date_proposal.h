// The date format that the values of a column fit.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/export.h"

namespace kestrel {

struct DateProposal {
  // Those that every value fits, in the order in which they are offered. With more than one the values do not tell
  // which is right.
  std::vector<std::string_view> formats;
  // Read by the first of them, no day is above 12, so day and month could stand the other way round.
  bool day_could_be_month = false;
};

// Empty values are passed over; without others nothing fits.
KESTREL_INTERNAL DateProposal ProposeDateFormat(std::span<const std::string_view> values);

}  // namespace kestrel
