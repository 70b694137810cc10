#include "check/date_proposal.h"

#include "check/date_evidence.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

DateEvidence Evidence(std::span<const std::string_view> values, const DatePattern* read_by) {
  DateEvidence evidence(read_by);
  for (const std::string_view value : values) {
    if (!TrimBlanks(value).empty()) evidence.Look(value);
  }
  return evidence;
}

}  // namespace

DateProposal ProposeDateFormat(std::span<const std::string_view> values) {
  DateProposal proposal{.formats = Evidence(values, nullptr).FitAll()};
  if (!proposal.formats.empty()) {
    const DatePattern* const first = FindDatePattern(proposal.formats.front());
    proposal.day_could_be_month = Evidence(values, first).DayCouldBeMonth();
  }
  return proposal;
}

}  // namespace kestrel
