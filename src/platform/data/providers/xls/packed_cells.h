// The cells of a sheet, each in a few bytes: what a sheet that must be read whole keeps of itself.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/data/providers/xls/workbook.h"

namespace kestrel::xls {

class PackedCells {
 public:
  // Adds a cell with a value, in any order. Of cells at one place the last one counts.
  void Add(std::uint32_t row, std::uint32_t column, const Cell& cell);
  // To be called once behind the last Add.
  void Finish();

  const std::optional<CellRange>& used() const { return used_; }
  // Sets `cells` to the row's cells from `first_column` on.
  void ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const;
  std::size_t bytes() const { return packed_.size(); }

 private:
  // Cells of one row that follow each other, up to where the next run begins.
  struct Run {
    std::uint32_t row;
    std::size_t begin, end;
  };
  void PutNumber(std::uint64_t number);
  std::uint64_t TakeNumber(std::size_t& at) const;

  std::string packed_;
  std::vector<Run> runs_;
  std::optional<CellRange> used_;
};

}  // namespace kestrel::xls
