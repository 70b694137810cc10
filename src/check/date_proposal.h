// The date format that the values of a column fit.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "sources/source_excerpt.h"

namespace kestrel {

struct DateProposal {
  bool has_values = false;
  // Those that every value fits, in the order in which they are offered. With more than one the values do not tell
  // which is right.
  std::vector<std::string_view> formats;
  // Read by the first of them, no day is above 12, so day and month could stand the other way round.
  bool day_could_be_month = false;
};

// Empty values are passed over; without others nothing fits.
DateProposal ProposeDateFormat(std::span<const std::string_view> values);

// For the values of that column, translated as the session's working copy says for `translated_field`; as they are
// where that is empty.
KESTREL_INTERNAL DateProposal ProposeDateFormat(const Session& session, const std::string& translated_field,
                                                const SourceExcerpt& excerpt, std::size_t column);

}  // namespace kestrel
