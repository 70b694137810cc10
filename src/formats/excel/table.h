// Excel workbooks, .xls of Excel 5 to 2003 and .xlsx, as tables: a sheet or a range of it, whose first row
// gives the column names and whose further rows are records.
//
//   const auto workbook = excel::ReadWorkbook(ReadWholeFile(path));
//   for (const excel::SheetTable& name : excel::TablesOf(*workbook)) {
//     const excel::Table table(*workbook, name, path);
//     for (std::size_t row = 0; row < table.RowCount(); ++row) Use(table.Text(row, 0));
//     if (const auto loss = table.Loss()) Tell(loss->Description());
//   }
//
// Who wants cells instead of records takes them from the sheet itself (workbook.h). All texts are UTF-8, values
// follow value_text.h. What is wrong with a file is a FormatError, which names the cell; what the system
// refuses (scratch files) is an error of base. One thread at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/excel/sheet_tables.h"
#include "formats/excel/workbook.h"
#include "platform/base/format_error.h"

namespace kestrel::excel {

class Table {
 public:
  // A table that TablesOf or FindTable told. Keeps what it needs of the workbook alive; `path` is what errors
  // call the file. FormatError where nothing of the sheet can be read.
  Table(const Workbook& workbook, const SheetTable& table, std::string path);
  // The one meant by a name, as FindTable takes it. FormatError where there is none, too.
  static Table Open(const Workbook& workbook, std::string_view name, std::string path);

  // By the first row: the cell's text, line breaks as blanks; F1, F2 ... by the column's position where there
  // is none. An empty sheet has no columns.
  const std::vector<std::string>& ColumnNames() const { return names_; }
  // Rows without a value that stand between others count.
  std::size_t RowCount() const { return row_count_; }
  // What the sheet has lost that belongs to the table; none where all is there.
  std::optional<FormatError> Loss() const;

  // `row` counts from 0 behind the names; the row read last is kept, so that cells are best read row by row.
  // Empty cells and errors such as #NV are null. The text lives until the same column is asked again.
  // FormatError for a cell that is damaged.
  bool IsNull(std::size_t row, std::size_t column) const;
  std::string_view Text(std::size_t row, std::size_t column) const;

 private:
  const Cell& CellAt(std::size_t row, std::size_t column) const;
  [[noreturn]] void RaiseDamagedCell(std::size_t row, std::size_t column, const RuntimeError& why) const;

  std::shared_ptr<const Sheet> sheet_;
  std::string sheet_name_;
  std::string path_;
  std::optional<CellRange> range_;
  std::vector<std::string> names_;
  std::size_t row_count_ = 0;
  std::uint32_t first_row_ = 0;  // of the records
  std::uint32_t first_column_ = 0;
  // The row read last.
  mutable std::optional<std::size_t> row_;
  mutable std::vector<Cell> cells_;
  mutable std::vector<std::string> buffers_;
};

}  // namespace kestrel::excel
