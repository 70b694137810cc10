// Which records stand in the open group of a connection: those that are lost where it is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "storage/late_errors.h"

namespace kestrel::host {

class RecordsInGroup {
 public:
  // Records are added in their order; those between them were refused.
  void Add(std::int64_t record) {
    if (ranges_.empty() || ranges_.back().last + 1 != record) {
      ranges_.push_back({record, record});
    } else {
      ranges_.back().last = record;
    }
  }
  // The record is no longer there; one of the last, taken off from the end.
  void TakeOff(std::int64_t record) {
    while (!ranges_.empty() && ranges_.back().last >= record) {
      ranges_.back().last = record - 1;
      if (ranges_.back().last < ranges_.back().first) ranges_.pop_back();
    }
  }
  bool IsEmpty() const { return ranges_.empty(); }
  void Clear() { ranges_.clear(); }
  // Appends an error for each range of records, and forgets them.
  void Lose(const RuntimeError& reason, LateErrors& errors) {
    for (const Range& range : ranges_) {
      const std::int64_t count = range.last - range.first + 1;
      const std::string what =
          count == 1 ? "Ein Datensatz konnte" : std::to_string(count) + " Datensätze konnten";
      errors.Add({range.first, range.last,
                  RuntimeError(reason.Number(), what + " nicht gespeichert werden. " + reason.Description())});
    }
    Clear();
  }

 private:
  struct Range {
    std::int64_t first;
    std::int64_t last;
  };
  std::vector<Range> ranges_;
};

}  // namespace kestrel::host
