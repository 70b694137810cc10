// What large texts of records come to. Records are sent together, copied, and kept until their commit by their number, which
// bounds what small ones take; large ones are counted by their bytes, beside it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "storage/field_error.h"
#include "storage/field_value.h"

namespace kestrel::host {

class LargeValues {
 public:
  // Bytes. Texts up to kLarge are not counted, as nearly all are and no record is to cost more for it.
  static constexpr std::size_t kLarge = 1024;
  // So many together are sent, and no more wait for an answer; a statement takes a gigabyte at most, and costs the
  // more memory on both sides.
  static constexpr std::size_t kMostSent = std::size_t{8} << 20;
  // The group ends, as its records are kept until then.
  static constexpr std::size_t kMostInGroup = std::size_t{64} << 20;
  // A row of SQLite and a message to PostgreSQL end before a gigabyte. A row of the ledger holds what was there
  // before beside what has come, and a line that is copied twice as many characters.
  static constexpr std::size_t kMostOfRecord = 400'000'000;

  void BeginRecord() { of_record_ = largest_ = 0; }
  // A value of the record's.
  void Note(std::size_t field, const StoredValue& value) {
    const auto* text = std::get_if<std::string_view>(&value);
    if (text == nullptr || text->size() <= kLarge) return;
    of_record_ += text->size();
    if (text->size() <= largest_) return;
    largest_ = text->size();
    field_ = field;
  }
  // None where a record may have what was noted of it.
  [[nodiscard]] Refusal WhyTooLarge(const Destination& destination) const;

  // Whether what was stored is to be sent now.
  bool NoteStored() {
    waiting_ += of_record_;
    in_group_ += of_record_;
    if (waiting_ < kMostSent) return false;
    waiting_ = 0;
    return true;
  }
  bool IsGroupFull() const { return in_group_ >= kMostInGroup; }
  void GroupEnded() { waiting_ = in_group_ = 0; }

 private:
  std::size_t of_record_ = 0;
  std::size_t largest_ = 0;
  std::size_t field_ = 0;  // that has it
  std::size_t waiting_ = 0;
  std::size_t in_group_ = 0;
};

}  // namespace kestrel::host
