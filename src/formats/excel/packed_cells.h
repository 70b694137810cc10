// The cells of a sheet, each in a few bytes: what a sheet that must be read whole keeps of itself.
#pragma once

#include <deque>
#include <optional>
#include <span>
#include <string>

#include "formats/excel/workbook.h"
#include "platform/base/spilled_bytes.h"

namespace kestrel::excel {

class PackedCells {
 public:
  // Adds a cell with a value, in any order. Of cells at one place the last one counts. Raises as SpilledBytes
  // does, and 3000 where rows are taken up again and again.
  void Add(std::uint32_t row, std::uint32_t column, const Cell& cell);
  // Drops the cells of that row where it is the last one's: those added since it was begun or taken up again.
  void DropOpenRow(std::uint32_t row);
  // To be called once behind the last Add.
  void Finish();

  const std::optional<CellRange>& used() const { return used_; }
  // Sets `cells` to the row's cells from `first_column` on.
  void ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const;

 private:
  // Cells of one row that follow each other.
  struct Run {
    std::uint32_t row;
    std::uint32_t size;
    std::uint64_t begin;
  };
  // Ends the run that is being added to.
  void CloseRun();

  SpilledBytes packed_;
  std::string open_run_;
  CellRange open_used_;   // by it
  std::deque<Run> runs_;  // a vector would hold twice as many while it grows
  std::optional<CellRange> used_;
};

}  // namespace kestrel::excel
