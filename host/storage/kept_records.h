// The records of a group until it is committed, so that they can be stored again where it is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/record_values.h"

namespace kestrel::host {

class KeptRecords {
 public:
  struct Entry {
    std::int64_t record = 0;
    bool is_update = false;  // as its storing has told
    std::size_t begin = 0;   // of its values
  };

  // Records are added in their order. Without `has_number`, the number in `values` was chosen for the record.
  void Add(std::int64_t record, const RecordValues& values, std::size_t number_field, bool has_number,
           bool is_update) {
    entries_.push_back({record, is_update, values_.size()});
    Pack(values, has_number ? kNoField : number_field, values_);
    fields_ = values.size();
  }
  // The texts live until the next Add.
  RecordValues ValuesOf(const Entry& entry) const {
    RecordValues values(fields_);
    Unpack(std::string_view(values_).substr(entry.begin), values);
    return values;
  }
  // The record and all behind it are no longer there.
  void TakeOff(std::int64_t record) {
    while (!entries_.empty() && entries_.back().record >= record) {
      values_.resize(entries_.back().begin);
      entries_.pop_back();
    }
  }
  // Leaves out the entries for which `is_gone`.
  template <class IsGone>
  void Remove(IsGone is_gone) {
    std::erase_if(entries_, is_gone);
  }
  // Keeps the memory.
  void Clear() {
    entries_.clear();
    values_.clear();
  }

  std::size_t size() const { return entries_.size(); }
  Entry& operator[](std::size_t index) { return entries_[index]; }

 private:
  std::vector<Entry> entries_;
  std::string values_;  // of all
  std::size_t fields_ = 0;
};

}  // namespace kestrel::host
