// Walks the rows of one stored table.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access/table_definition.h"

namespace kestrel::access {

class TableReader {
 public:
  // Raises 3000 for a damaged table.
  TableReader(JetFilePtr file, const TablePlace& place);

  const JetFile& file() const { return *file_; }
  const std::vector<Column>& columns() const { return table_.columns; }
  const std::vector<Column>& left_out() const { return table_.left_out; }
  std::size_t RowCount() const { return rows_.pointers.size(); }
  // Why there are fewer rows than the table had, for a person who knows it by `table`; none where all are there.
  std::optional<FormatError> Loss(std::string_view table) const;
  // The part of that which needs no trust in the number of rows, which Access keeps loosely for its own tables.
  bool LacksPages() const { return rows_.missing_page.has_value(); }
  // How many rows the table had, as the file tells.
  std::size_t PromisedRows() const { return table_.row_count; }
  // The first column of that name, case ignored; RequireColumn raises 3000 where the table lacks it.
  std::optional<std::size_t> FindColumn(std::string_view name) const;
  std::size_t RequireColumn(std::string_view name) const;
  template <std::size_t kCount>
  std::array<std::size_t, kCount> RequireColumns(const std::string_view (&names)[kCount]) const {
    std::array<std::size_t, kCount> columns{};
    for (std::size_t i = 0; i < kCount; ++i) columns[i] = RequireColumn(names[i]);
    return columns;
  }

  // Makes a row (below RowCount()) the current one. Raises 3000 for a damaged row.
  void GoTo(std::size_t row);

  // Of the current row. Raise 3000 for a damaged cell.
  std::optional<std::string_view> Cell(std::size_t column) const { return cells_.Cell(columns()[column]); }
  // By the rule of value_text.h; empty for null. The view lives until the same column of another row is read.
  std::string_view Text(std::size_t column);

 private:
  JetFilePtr file_;
  TableDefinition table_;
  StoredRows rows_;
  RowCells cells_;
  std::vector<std::string> texts_;  // one a column, their memory reused
};

}  // namespace kestrel::access
