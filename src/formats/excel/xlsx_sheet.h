// The cells of one sheet of an XML workbook.
#pragma once

#include <string>
#include <vector>

#include "formats/excel/packed_cells.h"
#include "formats/excel/text_pool.h"
#include "formats/excel/zip_archive.h"

namespace kestrel::excel {

class XlsxSheet final : public Sheet {
 public:
  // `shared_strings` is none for a workbook that has no such part. Error 3000 where the parts cannot be
  // unpacked at all.
  XlsxSheet(const ZipArchive& archive, UnpackBudget budget, const ZipArchive::Part& sheet,
            const ZipArchive::Part* shared_strings, const std::vector<NumberStyle>& styles,
            bool days_from_1904);

  std::optional<CellRange> UsedRange() const override { return cells_.used(); }
  void ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const override {
    cells_.ReadRow(row, first_column, cells);
  }
  void AppendText(const Cell& cell, std::string& text) const override;
  bool DaysFrom1904() const override { return days_from_1904_; }
  const std::optional<SheetDamage>& Damage() const override { return damage_; }

 private:
  void ReadTexts(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget);

  // The shared strings, numbered, and behind them the texts that stand in cells; a cell knows the place of its
  // text.
  TextPool texts_;
  PackedCells cells_;
  bool days_from_1904_;
  std::optional<SheetDamage> damage_;
};

}  // namespace kestrel::excel
