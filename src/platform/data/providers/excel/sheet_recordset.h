// A sheet or a range of it as records: the first row gives the column names, every row below it is a record.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "formats/excel/workbook.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::excel {

// The names by the first row of the range: the cell's text, line breaks as blanks; F1, F2 ... by the column's
// position in the range where there is none. Without `range` the sheet's used range counts; an empty sheet
// has no columns.
std::vector<std::string> ColumnNames(const Sheet& sheet, const std::optional<CellRange>& range);

// Empty cells and errors such as #NV are null. Rows without a value that stand between others are records of
// nulls.
//
// Where the sheet has lost something that belongs to the range, the set is broken off behind its last row.
class SheetRecordset final : public IndexedRecordset {
 public:
  // What errors call the sheet and its file, and which file that was.
  struct Place {
    std::string sheet;
    std::string path;
    std::optional<FileIdentity> file = {};
  };
  SheetRecordset(std::shared_ptr<const Sheet> sheet, const std::optional<CellRange>& range, Place place);

  std::optional<FileIdentity> SourceFile() const override { return place_.file; }

 protected:
  bool IsNullAt(std::size_t row, std::size_t column) const override;
  std::string_view TextAt(std::size_t row, std::size_t column) const override;

 private:
  const Cell& CellAt(std::size_t row, std::size_t column) const;
  [[noreturn]] void RaiseDamagedCell(std::size_t row, std::size_t column, const RuntimeError& why) const;

  std::shared_ptr<const Sheet> sheet_;
  Place place_;
  std::uint32_t first_row_ = 0;  // of the records
  std::uint32_t first_column_ = 0;
  // The row read last.
  mutable std::optional<std::size_t> row_;
  mutable std::vector<Cell> cells_;
  mutable std::vector<std::string> buffers_;
};

}  // namespace kestrel::excel
