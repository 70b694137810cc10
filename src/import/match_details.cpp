#include "import/match_details.h"

#include <charconv>
#include <iterator>

#include "kestrel/runtime_error.h"
#include "platform/automation/optional_member.h"

namespace kestrel {

namespace {

std::optional<std::int64_t> WholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

void MatchDetails::AskClass(const ObjectPtr& import_class) {
  describe_address_ = FindOptional(import_class, "DescribeAddress");
}

void MatchDetails::NoteStored(std::string_view number_text, std::int32_t ordinal) {
  const auto number = WholeNumber(number_text);
  if (!number) return;
  // Most sources number their records upwards.
  const bool is_last = stored_.empty() || stored_.rbegin()->first <= *number;
  const auto behind = is_last ? stored_.end() : stored_.upper_bound(*number);
  if (behind != stored_.begin()) {
    auto& [first, range] = *std::prev(behind);
    const std::int64_t offset = *number - first;
    if (offset < range.count) return;
    if (offset == range.count && ordinal == range.ordinal + range.count) {
      ++range.count;
      return;
    }
  }
  stored_.emplace_hint(behind, *number, Range{ordinal, 1});
}

std::int32_t MatchDetails::OrdinalOf(std::int64_t number) const {
  const auto behind = stored_.upper_bound(number);
  if (behind == stored_.begin()) return 0;
  const auto& [first, range] = *std::prev(behind);
  const std::int64_t offset = number - first;
  return offset < range.count ? range.ordinal + static_cast<std::int32_t>(offset) : 0;
}

void MatchDetails::FindRecord(DuplicateMatch& match, const RunOutcomes& outcomes) const {
  const auto number = WholeNumber(match.reference);
  const std::int32_t ordinal = number ? OrdinalOf(*number) : 0;
  if (ordinal == 0) return;
  const std::int32_t record = outcomes.SourceRecord(ordinal);
  if (!outcomes.figures().IsRejected(record)) match.record = record;
}

void MatchDetails::Describe(DuplicateMatch& match) {
  if (!describe_address_ || match.reference.empty()) return;
  const auto ask = [&] {
    Value name("");
    Value place("");
    describe_address_->Call(match.address_type, match.reference, ByRef(name), ByRef(place));
    match.name = name.ToText();
    match.place = place.ToText();
  };
  Trap(ask, [](const RuntimeError&) {});
}

}  // namespace kestrel
