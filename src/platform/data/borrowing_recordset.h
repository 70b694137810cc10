// One record of texts that need not be copied on their way from a source into it.
//
// A record set like others; beside that, who knows it gives it the texts of a whole record at once, as views, and what
// he knows of them, so that nobody parses them once more.
//
// Invariants
//  1. There is one row, whose columns are texts of any length.
//  2. A cell's text is a view: of own_, or of what Borrow was given, which lives until the source's next record. Clear
//     or the next Borrow ends it; who keeps the record longer copies what he needs.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/recordset.h"

namespace kestrel {

// What somebody who has looked at a text found out.
enum class KnownText : std::uint8_t {
  kNothing,
  kDecimal,  // it reads as PlainDecimal{number, decimals} (platform/base/number.h)
  kDay,      // it is "JJJJMMTT000000", and `number` JJJJMMTT, a day that exists
};

struct BorrowedText {
  std::string_view text = {};
  std::int64_t number = 0;
  std::uint8_t decimals = 0;
  KnownText known = KnownText::kNothing;
};

class KESTREL_INTERNAL BorrowingRecordset final : public Recordset {
 public:
  struct Cell : BorrowedText {
    std::uint32_t row = 0;  // the last one whose column is not null
  };

  explicit BorrowingRecordset(std::vector<std::string> columns)
      : names_(std::move(columns)), cells_(names_.size()), own_(names_.size()) {}

  // Makes every column null, and the row the current one.
  void Clear() {
    if (++row_ == 0) [[unlikely]] {
      // Behind 4,294,967,295 rows.
      for (Cell& cell : cells_) cell.row = 0;
      row_ = 1;
    }
    is_at_end_ = false;
  }
  // As SetText, without a copy: the text is put where CellFor says, and Borrow then makes it the column's. Both with a
  // column below ColumnCount().
  BorrowedText& CellFor(std::size_t column) { return cells_[column]; }
  void Borrow(std::size_t column) { cells_[column].row = row_; }
  // Of the row, one a column, which is null where its cell is not given.
  std::span<const Cell> cells() const { return cells_; }
  bool IsGiven(const Cell& cell) const { return cell.row == row_; }

  std::size_t ColumnCount() const override { return names_.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return false; }
  bool IsEof() const override { return is_at_end_; }
  void MoveFirst() override { is_at_end_ = false; }
  void MoveNext() override;
  std::int64_t RecordCount() const override { return 1; }
  bool IsNull(std::size_t column) const override { return !IsGiven(Current(column)); }
  std::string_view TextAt(std::size_t column) const override {
    const Cell& cell = Current(column);
    return IsGiven(cell) ? cell.text : std::string_view();
  }
  void SetText(std::size_t column, std::string_view text) override;
  // An unset or null value makes the column null. Raises what Value::ToText raises.
  void SetValue(std::size_t column, const Value& value) override;

 private:
  const Cell& Current(std::size_t column) const {
    if (column >= cells_.size() || is_at_end_) [[unlikely]]
      RaiseNoCell(column);
    return cells_[column];
  }
  [[noreturn]] void RaiseNoCell(std::size_t column) const;

  std::vector<std::string> names_;
  std::vector<Cell> cells_;
  std::vector<std::string> own_;  // what SetText was given
  std::uint32_t row_ = 1;         // the number of the current one, never 0
  bool is_at_end_ = false;
};

}  // namespace kestrel
