// A table of a workbook as a record set.
#pragma once

#include <optional>
#include <utility>

#include "formats/excel/table.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::excel {

// Where the sheet has lost something that belongs to the table, the set is broken off behind its last row.
class SheetRecordset final : public IndexedRecordset {
 public:
  // `file`: which one the table was read from.
  SheetRecordset(Table table, std::optional<FileIdentity> file)
      : IndexedRecordset(table.ColumnNames(), table.RowCount()), table_(std::move(table)), file_(file) {
    if (auto loss = table_.Loss()) EndsEarly(*std::move(loss));
  }

  std::optional<FileIdentity> SourceFile() const override { return file_; }

 protected:
  bool IsNullAt(std::size_t row, std::size_t column) const override { return table_.IsNull(row, column); }
  std::string_view TextAt(std::size_t row, std::size_t column) const override {
    return table_.Text(row, column);
  }

 private:
  Table table_;
  std::optional<FileIdentity> file_;
};

}  // namespace kestrel::excel
