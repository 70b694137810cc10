#include "check/date_proposal.h"

#include "check/date_evidence.h"
#include "mapping/translation.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"

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
  const DateEvidence evidence = Evidence(values, nullptr);
  DateProposal proposal{.has_values = evidence.values() > 0, .formats = evidence.FitAll()};
  if (!proposal.formats.empty()) {
    const DatePattern* const first = FindDatePattern(proposal.formats.front());
    proposal.day_could_be_month = Evidence(values, first).DayCouldBeMonth();
  }
  return proposal;
}

DateProposal ProposeDateFormat(const Session& session, const std::string& translated_field,
                               const SourceExcerpt& excerpt, std::size_t column) {
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session.SpecFile);
  TranslationLookup translations(translated_field);
  std::vector<std::string_view> values;
  for (const std::vector<ExcerptValue>& record : excerpt.records) {
    const std::string_view raw = record[column].text;
    values.push_back(translated_field.empty() ? raw
                                              : translations.Table(specification).Find(raw).value_or(raw));
  }
  return ProposeDateFormat(values);
}

}  // namespace kestrel
