#include "kestrel/run_figures.h"

#include <algorithm>

namespace kestrel {

namespace {

bool IsSet(const std::vector<bool>& flags, std::int32_t record) {
  const auto at = static_cast<std::size_t>(record);
  return at < flags.size() && flags[at];
}

void Set(std::vector<bool>& flags, std::int32_t record) {
  const auto at = static_cast<std::size_t>(record);
  if (at >= flags.size()) flags.resize(at + 1);
  flags[at] = true;
}

}  // namespace

void RunFigures::Add(const RecordOutcome& outcome) {
  ++read_;
  last_ = outcome.record;
  if (first_ == 0) first_ = outcome.record;
  errors_ += static_cast<std::int32_t>(outcome.errors.size());
  for (const std::string& field : outcome.cut_fields) {
    const auto is_field = [&](const CutField& cut) { return cut.field == field; };
    auto cut = std::find_if(cut_fields_.begin(), cut_fields_.end(), is_field);
    if (cut == cut_fields_.end()) cut = cut_fields_.insert(cut, {field, 0});
    ++cut->values;
  }
  switch (outcome.fate) {
    case RecordFate::kStored: ++taken_; return;
    case RecordFate::kUpdated:
      ++taken_;
      Update(outcome.record);
      return;
    case RecordFate::kHeldBack: ++held_back_; break;
    case RecordFate::kRejected: ++rejected_at_once_; break;
    case RecordFate::kChecked:
      ++taken_;
      is_test_ = true;
      return;
  }
  Set(is_not_taken_, outcome.record);
}

std::int32_t RunFigures::Add(const OutcomeRevision& revision) {
  if (revision.error) ++errors_;
  const std::int32_t rejected_before = rejected();
  if (revision.fate == RecordFate::kUpdated) {
    std::int32_t updates = 0;
    for (std::int32_t record = revision.first; record <= revision.last; ++record) updates += Update(record);
    return updates;
  }
  if (revision.first == 0) {
    unnamed_ += revision.revised;
  } else {
    Reject(revision.first, revision.last);
  }
  return rejected() - rejected_before;
}

bool RunFigures::Update(std::int32_t record) {
  if (IsSet(is_not_taken_, record) || IsSet(is_updated_, record)) return false;
  Set(is_updated_, record);
  ++updated_;
  return true;
}

void RunFigures::Reject(std::int32_t first, std::int32_t last) {
  for (std::int32_t record = first; record <= last; ++record) {
    if (IsSet(is_not_taken_, record)) continue;
    Set(is_not_taken_, record);
    ++named_;
    if (IsSet(is_updated_, record)) --updated_;
  }
  if (first < last && (first_of_lost_group_ == 0 || first < first_of_lost_group_)) first_of_lost_group_ = first;
}

bool RunFigures::IsRejected(std::int32_t record) const { return IsSet(is_not_taken_, record); }

std::int32_t RunFigures::lost() const { return std::min(taken_, named_ + unnamed_); }

std::int32_t RunFigures::updated() const { return std::min(updated_, stored()); }

std::int32_t RunFigures::cut_values() const {
  std::int32_t values = 0;
  for (const CutField& cut : cut_fields_) values += cut.values;
  return values;
}

std::int32_t RunFigures::LastStoredRecord() const {
  if (taken_ == 0) return 0;
  std::int32_t record = last_;
  while (record >= first_ && IsSet(is_not_taken_, record)) --record;
  return record < first_ ? 0 : record;
}

}  // namespace kestrel
