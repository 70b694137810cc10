#include "import/run_figures.h"

#include <algorithm>

namespace kestrel {

void RunFigures::KeepBack() { kept_back_.push_back(handed_over_ + checked_ + kept_back() + 1); }

void RunFigures::PassOver() {
  KeepBack();
  ++passed_over_;
}

void RunFigures::Reject(std::int32_t first, std::int32_t last) {
  if (is_rejected_.size() < static_cast<std::size_t>(last)) is_rejected_.resize(static_cast<std::size_t>(last));
  for (std::int32_t ordinal = first; ordinal <= last; ++ordinal) {
    if (IsRejected(ordinal)) continue;
    is_rejected_[static_cast<std::size_t>(ordinal) - 1] = true;
    ++named_;
  }
}

bool RunFigures::IsRejected(std::int32_t ordinal) const {
  const auto at = static_cast<std::size_t>(ordinal) - 1;
  return at < is_rejected_.size() && is_rejected_[at];
}

std::int32_t RunFigures::lost() const { return std::min(handed_over_, named_ + unnamed_); }

std::int32_t RunFigures::SourceRecord(std::int32_t ordinal) const {
  // Before the record kept back at position i stand i others of its kind.
  const auto stands_before = [&](const std::int32_t& number) {
    return number - 1 - static_cast<std::int32_t>(&number - kept_back_.data()) < ordinal;
  };
  const auto end = std::partition_point(kept_back_.begin(), kept_back_.end(), stands_before);
  return ordinal + static_cast<std::int32_t>(end - kept_back_.begin());
}

std::int32_t RunFigures::LastStoredRecord() const {
  std::int32_t ordinal = handed_over_;
  while (ordinal > 0 && IsRejected(ordinal)) --ordinal;
  return ordinal == 0 ? 0 : SourceRecord(ordinal);
}

}  // namespace kestrel
