// What the kinds of workbooks have in common: sheets, named ranges, and cells read row by row.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/excel/number_style.h"

namespace kestrel::excel {

// Rows and columns count from 0; the last ones belong to the range.
struct CellRange {
  std::uint32_t first_row = 0;
  std::uint32_t first_column = 0;
  std::uint32_t last_row = 0;
  std::uint32_t last_column = 0;
};

// Makes `range` reach over `by`, too.
inline void Extend(std::optional<CellRange>& range, const CellRange& by) {
  if (!range) range = by;
  range->first_row = std::min(range->first_row, by.first_row);
  range->last_row = std::max(range->last_row, by.last_row);
  range->first_column = std::min(range->first_column, by.first_column);
  range->last_column = std::max(range->last_column, by.last_column);
}

struct Cell {
  enum class Kind : std::uint8_t { kEmpty, kNumber, kTruth, kError, kText };
  Kind kind = Kind::kEmpty;
  NumberStyle style = NumberStyle::kNumber;
  double number = 0;       // of a truth value 0 or 1
  std::uint64_t text = 0;  // where the sheet finds the text; its own meaning
};

// What is missing in a sheet whose file is damaged.
struct SheetDamage {
  std::uint32_t row = 0;  // the first row that lacks something
  std::string what;       // a sentence's end: "es bricht hinter Zeile 12 ab"
};

// A sheet's cells. Keeps what it needs of its workbook alive.
class Sheet {
 public:
  Sheet() = default;
  Sheet(const Sheet&) = delete;
  Sheet& operator=(const Sheet&) = delete;
  virtual ~Sheet() = default;

  // The smallest range that holds every cell with a value; none for an empty sheet. Cells that are only
  // formatted have no value.
  virtual std::optional<CellRange> UsedRange() const = 0;
  // Sets `cells` to the row's cells from `first_column` on.
  virtual void ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const = 0;
  // Appends the text of a cell of kind kText that ReadRow gave.
  virtual void AppendText(const Cell& cell, std::string& text) const = 0;
  virtual bool DaysFrom1904() const = 0;
  // None for a sheet that is whole. A row that may have been cut is left out altogether.
  virtual const std::optional<SheetDamage>& Damage() const = 0;
};

struct NamedRange {
  std::string name;
  std::optional<std::size_t> scope;  // the sheet the name belongs to; none for one of the whole workbook
  std::size_t sheet = 0;             // the sheet the range lies on
  CellRange range;
};

class Workbook : public std::enable_shared_from_this<Workbook> {
 public:
  Workbook() = default;
  Workbook(const Workbook&) = delete;
  Workbook& operator=(const Workbook&) = delete;
  virtual ~Workbook() = default;

  // The sheets with cells, in the workbook's order; charts and macro sheets are left out.
  virtual const std::vector<std::string>& SheetNames() const = 0;
  // The names that stand for one rectangle of cells; hidden and built-in ones are left out.
  virtual const std::vector<NamedRange>& NamedRanges() const = 0;
  // `sheet` counts from 0 in SheetNames(). Error 3000 where nothing of the sheet can be read.
  virtual std::shared_ptr<const Sheet> OpenSheet(std::size_t sheet) const = 0;
};

// Reads a workbook of any kind known here from the bytes of its file. Error 3000 for anything else, for one
// that has a password, and for one that is too damaged to tell its sheets.
std::shared_ptr<const Workbook> ReadWorkbook(std::string file);

}  // namespace kestrel::excel
