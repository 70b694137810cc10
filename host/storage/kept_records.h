// The records of a group until it is committed, so that they can be stored again where it is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "storage/record_values.h"

namespace kestrel::host {

class KeptRecords {
 public:
  struct Entry {
    std::int64_t record = 0;
    bool is_update = false;  // as its storing has told
    KeptValues kept;
  };

  // Records are added in their order. Without `has_number`, the number in `values` was chosen for the record.
  void Add(std::int64_t record, const RecordValues& values, std::size_t number_field, bool has_number,
           bool is_update) {
    if (entries_.size() == count_) entries_.emplace_back();
    Entry& entry = entries_[count_++];
    entry.record = record;
    entry.is_update = is_update;
    entry.kept.Keep(values);
    if (!has_number) entry.kept.values()[number_field] = std::monostate();
  }
  // The record and all behind it are no longer there.
  void TakeOff(std::int64_t record) {
    while (count_ > 0 && entries_[count_ - 1].record >= record) --count_;
  }
  // Leaves out the entries for which `is_gone`.
  template <class IsGone>
  void Remove(IsGone is_gone) {
    std::size_t left = 0;
    for (std::size_t i = 0; i < count_; ++i) {
      if (is_gone(entries_[i])) continue;
      if (left != i) {
        entries_[left].record = entries_[i].record;
        entries_[left].is_update = entries_[i].is_update;
        entries_[left].kept.Keep(entries_[i].kept.values());
      }
      ++left;
    }
    count_ = left;
  }
  // Keeps the memory.
  void Clear() { count_ = 0; }

  std::size_t size() const { return count_; }
  Entry& operator[](std::size_t index) { return entries_[index]; }

 private:
  std::deque<Entry> entries_;  // the first count_ of them; none moves, as its values are views
  std::size_t count_ = 0;
};

}  // namespace kestrel::host
