// A record set in memory with typed and sized columns: assignment lists, field lists, new records. It holds a copy
// of what it is given, and is used by one thread at a time.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/recordset.h"

namespace kestrel {

// What a column of a record set in memory holds: a text, a whole number of 16 or 64 bits, a real number, a truth value.
enum class ColumnType { kText, kInt16, kInt64, kDouble, kBool };

// The columns first, then rows; TextAt looks at the cell itself.
class KESTREL_EXPORT MemoryRecordset final : public Recordset {
 public:
  // A column as AppendColumn was told of it.
  struct Column {
    std::string name;                     // two columns may share it
    ColumnType type = ColumnType::kText;  // what values are converted to
    std::size_t size = 0;                 // greatest number of characters of a text; 0 is any
  };

  // --- Shape; only while there are no rows (error 5 otherwise) ---
  void AppendColumn(std::string name, ColumnType type = ColumnType::kText, std::size_t size = 0);
  const Column& ColumnAt(std::size_t column) const;  // error 9

  // --- Rows ---
  // Appends a row of nulls and makes it the current one.
  void AddNew();
  // Makes every column of the current row null, keeping the memory of its texts.
  void ClearRow();

  std::size_t ColumnCount() const override { return columns_.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override;
  bool IsEof() const override;
  void MoveFirst() override;
  void MoveNext() override;
  std::int64_t RecordCount() const override { return static_cast<std::int64_t>(row_count_); }
  std::int64_t Bookmark() const override;
  void GoTo(std::int64_t bookmark) override;
  // In place, as they are asked for every field of every record.
  bool IsNull(std::size_t column) const override { return Current(column).null; }
  std::string_view TextAt(std::size_t column) const override { return Current(column).text; }
  Value ValueAt(std::size_t column) const override;
  // Both convert to the column's type: 13 where that fails, 3421 for a text longer than the column, 6 for
  // a number beyond it. An unset or null value makes the column null.
  void SetText(std::size_t column, std::string_view text) override;
  void SetValue(std::size_t column, const Value& value) override;

 private:
  // A cell holds its value as text, so that reading never allocates; the column's type says what it means.
  struct Cell {
    std::string text;
    bool null = true;
  };
  const Cell& Current(std::size_t column) const {
    if (column >= columns_.size() || row_ >= row_count_) [[unlikely]]
      RaiseNoCell(column);
    return cells_[row_ * columns_.size() + column];
  }
  Cell& Current(std::size_t column) { return const_cast<Cell&>(std::as_const(*this).Current(column)); }
  [[noreturn]] void RaiseNoCell(std::size_t column) const;

  std::vector<Column> columns_;
  std::vector<Cell> cells_;  // row by row
  std::size_t row_count_ = 0;
  std::size_t row_ = 0;  // == row_count_ at the end
};

}  // namespace kestrel
