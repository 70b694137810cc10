// The values of one field that a column of the source feeds, judged by the rules of the run.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "check/date_evidence.h"
#include "check/value_tally.h"
#include "kestrel/data_profile.h"
#include "kestrel/memory_recordset.h"
#include "mapping/translation.h"
#include "mapping/value_conversion.h"
#include "platform/profile/profile.h"

namespace kestrel {

class FieldProfile {
 public:
  // Of the list's current row, which a column of the source feeds; `permitted`: the values that the field may have,
  // empty for any.
  FieldProfile(const MemoryRecordset& list, const std::vector<PermittedValue>& permitted);

  const std::string& field() const { return field_; }
  const std::string& column() const { return column_; }

  // Looks at the value of a record, counted from 1. What of it the run writes, which lives until the next look and as
  // long as the value and the specification; none where nothing is written.
  std::optional<std::string_view> Look(std::int64_t record, std::string_view value,
                                       const std::shared_ptr<const ProfileImage>& specification);
  void NoteUnreadable(std::int64_t record, const std::string& reason) {
    unreadable_.Add(record, reason);
    record_with_error_ = record;
  }
  // Whether what Tell calls an error in any case was found in that record, which is the last one looked at.
  bool HasErrorIn(std::int64_t record) const { return record_with_error_ == record; }

  FieldFigures Figures() const;
  // `destination_asked`: the import class has looked at each record, and tells itself which days it does not take.
  void Tell(Findings& findings, bool destination_asked) const;

 private:
  void TellDates(Findings& findings, bool destination_asked) const;
  FindingPlace Place() const;

  std::string field_;
  std::string column_;
  std::string field_typ_;
  FieldKind kind_;
  std::int64_t size_;
  bool is_mandatory_;
  std::optional<TranslationLookup> translation_;
  std::string format_;
  const DatePattern* date_ = nullptr;
  std::optional<DateEvidence> dates_;
  std::unordered_set<std::string> permitted_;
  std::string permitted_key_;  // reused for look-ups

  std::string date_text_;  // the last one
  std::int64_t record_with_error_ = 0;

  std::int64_t filled_ = 0;
  ValueTally empty_, cut_, not_numbers_, not_dates_, not_translated_, not_permitted_, unreadable_;
};

}  // namespace kestrel
