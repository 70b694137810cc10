// Returns a list to the row that was current, where there was one.
#pragma once

#include <cstdint>
#include <optional>

#include "kestrel/memory_recordset.h"

namespace kestrel {

class RowKeeper {
 public:
  explicit RowKeeper(MemoryRecordset& list) : list_(list) {
    if (!list.IsBof() && !list.IsEof()) row_ = list.Bookmark();
  }
  RowKeeper(const RowKeeper&) = delete;
  RowKeeper& operator=(const RowKeeper&) = delete;
  ~RowKeeper() {
    if (row_.has_value()) list_.GoTo(*row_);
  }

 private:
  MemoryRecordset& list_;
  std::optional<std::int64_t> row_;
};

}  // namespace kestrel
