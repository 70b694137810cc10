// A read-only record set whose rows can be reached by their number: the position is kept here, a source adds
// how a cell is read.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/recordset.h"

namespace kestrel {

class IndexedRecordset : public Recordset {
 public:
  std::size_t ColumnCount() const final { return names_.size(); }
  std::string_view ColumnName(std::size_t column) const final;
  bool IsBof() const final { return row_count_ == 0; }
  bool IsEof() const final { return row_ == row_count_; }
  void MoveFirst() override { row_ = 0; }
  void MoveNext() override;
  std::int64_t RecordCount() const final { return static_cast<std::int64_t>(record_count_); }
  std::optional<RuntimeError> BrokenOff() const final { return IsEof() ? broken_off_ : std::nullopt; }
  std::int64_t Bookmark() const final;
  void GoTo(std::int64_t bookmark) override;
  bool IsNull(std::size_t column) const final;
  std::string_view TextAt(std::size_t column) const override;

 protected:
  IndexedRecordset(std::vector<std::string> names, std::size_t row_count)
      : names_(std::move(names)),
        column_count_(names_.size()),
        row_count_(row_count),
        record_count_(row_count) {}

  // For a source whose rows end before it does: why, and how many records it promises, where it does. Before
  // the first move.
  void EndsEarly(RuntimeError reason, std::size_t promised = 0) {
    broken_off_ = std::move(reason);
    record_count_ = std::max(row_count_, promised);
  }

  // The current row and those behind it cannot be read any more: the set is at its end, broken off. Raises the
  // reason.
  [[noreturn]] void EndHere(const RuntimeError& reason);

  // Both are called with a row that is there and a column below ColumnCount(). The view must live until
  // the next move.
  virtual bool IsNullAt(std::size_t row, std::size_t column) const = 0;
  virtual std::string_view TextAt(std::size_t row, std::size_t column) const = 0;

  std::size_t row() const { return row_; }
  // Error 9 for a column out of range, 3021 away from a row.
  void RequireCell(std::size_t column) const {
    if (column >= column_count_ || row_ >= row_count_) [[unlikely]]
      RaiseNoCell(column);
  }

 private:
  [[noreturn]] void RaiseNoCell(std::size_t column) const;

  std::vector<std::string> names_;
  std::size_t column_count_;
  std::size_t row_count_;
  std::size_t record_count_;  // more where the source promises rows that cannot be read
  std::size_t row_ = 0;
  std::optional<RuntimeError> broken_off_;  // what the move behind the last row raises
};

}  // namespace kestrel
