#include "formats/excel/table.h"

#include <algorithm>
#include <utility>

#include "formats/excel/cell_reference.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"

namespace kestrel::excel {

namespace {

// Replaces `text` by the cell's.
void SetCellText(const Sheet& sheet, const Cell& cell, std::string& text) {
  text.clear();
  switch (cell.kind) {
    case Cell::Kind::kNumber: text += NumberText(cell.number, cell.style, sheet.DaysFrom1904()); break;
    case Cell::Kind::kTruth: text += BoolText(cell.number != 0); break;
    case Cell::Kind::kText: sheet.AppendText(cell, text); break;
    case Cell::Kind::kEmpty:
    case Cell::Kind::kError: break;
  }
}

// Where the rows of a table lie: its own range as far as the sheet has values, or all of the sheet.
std::optional<CellRange> Extent(const Sheet& sheet, std::optional<CellRange> range) {
  const std::optional<CellRange> used = sheet.UsedRange();
  if (!range) return used;
  range->last_row = std::max(range->first_row, std::min(range->last_row, used ? used->last_row : 0));
  return range;
}

std::size_t ColumnCountOf(const std::optional<CellRange>& extent) {
  return extent ? extent->last_column - extent->first_column + 1 : 0;
}

std::vector<std::string> NamesBy(const Sheet& sheet, const std::optional<CellRange>& extent) {
  std::vector<Cell> cells(ColumnCountOf(extent));
  if (extent) sheet.ReadRow(extent->first_row, extent->first_column, cells);
  std::vector<std::string> names;
  names.reserve(cells.size());
  for (const Cell& cell : cells) {
    std::string name;
    SetCellText(sheet, cell, name);
    name = ReplaceAll(ReplaceAll(name, "\r\n", " "), "\n", " ");
    if (TrimBlanks(name).empty()) name = "F" + std::to_string(names.size() + 1);
    names.push_back(std::move(name));
  }
  return names;
}

}  // namespace

Table::Table(const Workbook& workbook, const SheetTable& table, std::string path)
    : sheet_(workbook.OpenSheet(table.sheet)),
      sheet_name_(workbook.SheetNames()[table.sheet]),
      path_(std::move(path)),
      range_(table.range) {
  const std::optional<CellRange> extent = Extent(*sheet_, range_);
  names_ = NamesBy(*sheet_, extent);
  if (extent) {
    row_count_ = extent->last_row - extent->first_row;
    first_row_ = extent->first_row + 1;
    first_column_ = extent->first_column;
  }
  cells_.resize(names_.size());
  buffers_.resize(names_.size());
}

Table Table::Open(const Workbook& workbook, std::string_view name, std::string path) {
  const std::optional<SheetTable> table = FindTable(workbook, name);
  if (!table) {
    throw FormatError(
        "Die Arbeitsmappe hat weder eine Tabelle noch einen benannten Bereich \"" + std::string(name) + "\"",
        {.file = std::move(path)});
  }
  return Table(workbook, *table, std::move(path));
}

std::optional<FormatError> Table::Loss() const {
  const std::optional<SheetDamage>& damage = sheet_->Damage();
  if (!damage || (range_ && range_->last_row < damage->row)) return std::nullopt;
  return FormatError("Das Tabellenblatt \"" + sheet_name_ + "\" ist unvollständig: " + damage->what +
                         ". Was zu lesen ist, wird gelesen (" + path_ + ")",
                     {.file = path_, .record = damage->row});
}

void Table::RaiseDamagedCell(std::size_t row, std::size_t column, const RuntimeError& why) const {
  const CellPosition cell{first_row_ + static_cast<std::uint32_t>(row),
                          first_column_ + static_cast<std::uint32_t>(column)};
  throw FormatError("Die Zelle " + CellName(cell) + " des Tabellenblatts \"" + sheet_name_ +
                        "\" lässt sich nicht lesen: " + why.Description() + " (" + path_ + ")",
                    {.file = path_, .record = cell.row, .column = cell.column});
}

const Cell& Table::CellAt(std::size_t row, std::size_t column) const {
  if (row_ != row) {
    row_.reset();  // stays so where reading fails
    sheet_->ReadRow(first_row_ + static_cast<std::uint32_t>(row), first_column_, cells_);
    row_ = row;
  }
  return cells_[column];
}

bool Table::IsNull(std::size_t row, std::size_t column) const {
  const Cell::Kind kind = CellAt(row, column).kind;
  return kind == Cell::Kind::kEmpty || kind == Cell::Kind::kError;
}

std::string_view Table::Text(std::size_t row, std::size_t column) const {
  std::string& buffer = buffers_[column];
  try {
    SetCellText(*sheet_, CellAt(row, column), buffer);
  } catch (const RuntimeError& error) {
    RaiseDamagedCell(row, column, error);
  }
  return buffer;
}

}  // namespace kestrel::excel
