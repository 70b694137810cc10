#include "import/run_figures.h"

#include <algorithm>

namespace kestrel {

namespace {

bool IsSet(const std::vector<bool>& flags, std::int32_t ordinal) {
  const auto at = static_cast<std::size_t>(ordinal) - 1;
  return at < flags.size() && flags[at];
}

void Grow(std::vector<bool>& flags, std::int32_t ordinal) {
  if (flags.size() < static_cast<std::size_t>(ordinal)) flags.resize(static_cast<std::size_t>(ordinal));
}

}  // namespace

void RunFigures::Add(RecordFate fate, bool handed_over) {
  if (fate == RecordFate::kChecked && !handed_over) {
    ++checked_;
    return;
  }
  if (!handed_over) {
    kept_back_.push_back(handed_over_ + checked_ + held_back_ + not_made_ + 1);
    ++(fate == RecordFate::kHeldBack ? held_back_ : not_made_);
    return;
  }
  ++handed_over_;
  if (fate == RecordFate::kRejected) {
    Reject(handed_over_, handed_over_);
  } else if (fate == RecordFate::kChecked) {
    is_test_ = true;
  } else if (fate == RecordFate::kUpdated) {
    Update(handed_over_);
  }
}

bool RunFigures::Update(std::int32_t ordinal) {
  if (IsSet(is_rejected_, ordinal) || IsSet(is_updated_, ordinal)) return false;
  Grow(is_updated_, ordinal);
  is_updated_[static_cast<std::size_t>(ordinal) - 1] = true;
  ++updated_;
  return true;
}

void RunFigures::Reject(std::int32_t first, std::int32_t last) {
  Grow(is_rejected_, last);
  for (std::int32_t ordinal = first; ordinal <= last; ++ordinal) {
    if (IsSet(is_rejected_, ordinal)) continue;
    is_rejected_[static_cast<std::size_t>(ordinal) - 1] = true;
    ++named_;
    if (IsSet(is_updated_, ordinal)) --updated_;
  }
  if (first < last && (first_of_lost_group_ == 0 || first < first_of_lost_group_)) first_of_lost_group_ = first;
}

bool RunFigures::IsRejected(std::int32_t ordinal) const { return IsSet(is_rejected_, ordinal); }

std::int32_t RunFigures::lost() const { return std::min(handed_over_, named_ + unnamed_); }

std::int32_t RunFigures::updated() const { return std::min(updated_, stored()); }

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
  while (ordinal > 0 && IsSet(is_rejected_, ordinal)) --ordinal;
  return ordinal == 0 ? 0 : SourceRecord(ordinal);
}

std::int32_t RunFigures::FirstOfLostGroup() const {
  return first_of_lost_group_ == 0 ? 0 : SourceRecord(first_of_lost_group_);
}

}  // namespace kestrel
