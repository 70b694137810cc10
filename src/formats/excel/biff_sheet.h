// The cells of one sheet of a BIFF workbook.
#pragma once

#include "formats/excel/biff_workbook.h"

namespace kestrel::excel {

// Cells are read where they lie in the stream; kept is only where each row's records begin and end.
class BiffSheet final : public Sheet {
 public:
  // Error 3000 where no sheet begins at the stream's offset.
  BiffSheet(std::shared_ptr<const BiffWorkbook> workbook, std::uint32_t offset);

  std::optional<CellRange> UsedRange() const override { return used_; }
  void ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const override;
  void AppendText(const Cell& cell, std::string& text) const override;
  bool DaysFrom1904() const override { return workbook_->days_from_1904(); }
  const std::optional<SheetDamage>& Damage() const override { return damage_; }

 private:
  // Records of one row that follow each other. Most rows have one such run.
  struct Run {
    std::uint32_t row;
    std::uint32_t begin, end;  // in the stream
  };
  void Index(std::uint32_t offset);
  bool CanBeRead(std::uint16_t type, Bytes data) const;

  std::shared_ptr<const BiffWorkbook> workbook_;
  std::vector<Run> runs_;  // by row
  std::optional<CellRange> used_;
  std::optional<SheetDamage> damage_;
};

}  // namespace kestrel::excel
