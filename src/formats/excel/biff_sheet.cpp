#include "formats/excel/biff_sheet.h"

#include <algorithm>
#include <utility>

#include "formats/excel/sheet_damage.h"

namespace kestrel::excel {

namespace {

constexpr std::size_t kRecordHead = 4;
constexpr std::uint32_t kBiffColumns = 256;
constexpr std::size_t kCellHead = 6;  // row, column, extended format

// How Cell::text names a text: one of the shared ones by its number; an inline one by where its record begins
// and how many bytes stand before the text.
constexpr std::uint64_t kSharedText = std::uint64_t{1} << 63;
std::uint64_t InlineText(std::size_t record, std::size_t skip) { return std::uint64_t{record} << 8 | skip; }

bool IsCellWithValue(std::uint16_t type) {
  switch (type) {
    case kFormula:
    case kFormula3:
    case kFormula4:
    case kMulRk:
    case kRichString:
    case kLabelSst:
    case kNumber:
    case kLabel:
    case kBoolErr:
    case kRk: return true;
    default: return false;
  }
}

// A number stored in 30 bits: the upper ones of a double or a whole number, possibly a hundredfold.
double RkNumber(std::uint32_t rk) {
  constexpr std::uint32_t kHundredfold = 1;
  constexpr std::uint32_t kWhole = 2;
  const double number = (rk & kWhole) != 0 ? static_cast<double>(static_cast<std::int32_t>(rk) >> 2)
                                           : std::bit_cast<double>(std::uint64_t{rk & ~3u} << 32);
  return (rk & kHundredfold) != 0 ? number / 100 : number;
}

Cell NumberCell(double number, NumberStyle style) { return Cell{Cell::Kind::kNumber, style, number, 0}; }
Cell TruthOrErrorCell(std::uint8_t value, bool is_error) {
  return Cell{is_error ? Cell::Kind::kError : Cell::Kind::kTruth, NumberStyle::kNumber, value != 0 ? 1.0 : 0.0,
              0};
}
Cell TextCell(std::uint64_t text) { return Cell{Cell::Kind::kText, NumberStyle::kNumber, 0, text}; }

// How many cells a record of several numbers has: row, first column, pairs of extended format and number, last
// column.
std::uint32_t CellsOfMulRk(Bytes data) { return static_cast<std::uint32_t>((data.size() - 6) / 6); }

// The stored result of a formula; a text is empty until its own record comes.
Cell FormulaCell(Bytes data, NumberStyle style) {
  constexpr std::size_t kResult = kCellHead;
  if (ReadU16(data, kResult + 6) != 0xFFFF) return NumberCell(ReadDouble(data, kResult), style);
  switch (ReadU8(data, kResult)) {
    case 1: return TruthOrErrorCell(ReadU8(data, kResult + 2), false);
    case 2: return TruthOrErrorCell(0, true);
    default: return TextCell(0);
  }
}

}  // namespace

BiffSheet::BiffSheet(std::shared_ptr<const BiffWorkbook> workbook, std::uint32_t offset)
    : workbook_(std::move(workbook)) {
  Index(offset);
}

// Whether a cell lies within the sheet, its record is as long as its kind needs, and its text there.
bool BiffSheet::CanBeRead(std::uint16_t type, Bytes data) const {
  constexpr std::size_t kDouble = 8;
  if (data.size() < kCellHead || ReadU16(data, 2) >= kBiffColumns) return false;
  switch (type) {
    case kMulRk: return data.size() >= kCellHead + 6 && ReadU16(data, 2) + CellsOfMulRk(data) <= kBiffColumns;
    case kLabelSst:
      return data.size() >= kCellHead + 4 && ReadU32(data, kCellHead) < workbook_->shared_strings().size();
    case kRk: return data.size() >= kCellHead + 4;
    case kBoolErr:
    case kLabel:
    case kRichString: return data.size() >= kCellHead + 2;
    default: return data.size() >= kCellHead + kDouble;
  }
}

void BiffSheet::Index(std::uint32_t offset) {
  RecordCursor cursor(workbook_->stream(), offset);
  if (!cursor.Next() || cursor.type() != kBof) RaiseDamaged("ein Tabellenblatt fehlt");
  DamageNotes notes;
  bool sorted = true;
  bool run_goes_on = false;
  std::optional<CellRange> open_row;  // which cells of the last run's row there are
  int depth = 1;
  while (depth > 0 && cursor.Next()) {
    // A chart within the sheet is a stream of its own, with numbers that are no cells of the sheet.
    if (cursor.type() == kBof) ++depth;
    if (cursor.type() == kEof) --depth;
    if (depth != 1) {
      run_goes_on = false;
      continue;
    }
    const auto end = static_cast<std::uint32_t>(cursor.end());
    if (cursor.type() == kString && run_goes_on) runs_.back().end = end;
    const Bytes data = cursor.data();
    if (!IsCellWithValue(cursor.type()) || data.size() < 4) continue;
    const std::uint32_t row = ReadU16(data, 0);
    const std::uint32_t column = ReadU16(data, 2);
    if (!CanBeRead(cursor.type(), data)) {
      notes.LosesCell({row, column});
      continue;
    }
    const std::uint32_t last = cursor.type() == kMulRk ? column + CellsOfMulRk(data) - 1 : column;
    const CellRange cells{row, column, row, last};
    if (open_row && open_row->first_row == row) {
      Extend(open_row, cells);
    } else {
      if (open_row) Extend(used_, *open_row);
      open_row = cells;
    }
    if (run_goes_on && runs_.back().row == row) {
      runs_.back().end = end;
    } else {
      run_goes_on = true;
      sorted = sorted && (runs_.empty() || runs_.back().row <= row);
      runs_.push_back(Run{row, static_cast<std::uint32_t>(cursor.offset()), end});
    }
  }
  // Where bytes are missing, the last row may have lost cells, unless another one has begun; where only the
  // sheet's end is missing, it has not.
  const bool next_row_begins = cursor.is_cut() && open_row && IsCellWithValue(cursor.type()) &&
                               cursor.data().size() >= 2 && ReadU16(cursor.data(), 0) != open_row->first_row;
  const bool bytes_are_missing = cursor.is_cut() || !workbook_->is_whole();
  if (depth > 0 && bytes_are_missing && open_row && !next_row_begins) {
    std::erase_if(runs_, [&](const Run& run) { return run.row == open_row->first_row; });
  } else if (open_row) {
    Extend(used_, *open_row);
  }
  if (depth > 0) notes.Ends(used_ ? used_->last_row + 1 : 0, "");
  damage_ = notes.Damage();
  if (sorted) return;
  std::stable_sort(runs_.begin(), runs_.end(), [](const Run& a, const Run& b) { return a.row < b.row; });
}

void BiffSheet::ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const {
  std::fill(cells.begin(), cells.end(), Cell());
  const auto set = [&](std::uint32_t column, const Cell& cell) -> Cell* {
    if (column < first_column || column - first_column >= cells.size()) return nullptr;
    return &(cells[column - first_column] = cell);
  };
  auto run = std::lower_bound(runs_.begin(), runs_.end(), row,
                              [](const Run& r, std::uint32_t at) { return r.row < at; });
  for (; run != runs_.end() && run->row == row; ++run) {
    RecordCursor cursor(workbook_->stream(), run->begin);
    Cell* awaits_text = nullptr;  // the cell whose formula gave a text
    while (cursor.end() < run->end && cursor.Next()) {
      const std::uint16_t type = cursor.type();
      const Bytes data = cursor.data();
      if (type == kString && awaits_text != nullptr) awaits_text->text = InlineText(cursor.offset(), 0);
      if (!IsCellWithValue(type)) continue;
      awaits_text = nullptr;
      if (!CanBeRead(type, data)) continue;
      const std::uint32_t column = ReadU16(data, 2);
      if (type == kMulRk) {
        for (std::uint32_t i = 0; i < CellsOfMulRk(data); ++i) {
          const NumberStyle style = workbook_->StyleOf(ReadU16(data, 4 + i * 6));
          set(column + i, NumberCell(RkNumber(ReadU32(data, 6 + i * 6)), style));
        }
        continue;
      }
      const NumberStyle style = workbook_->StyleOf(ReadU16(data, 4));
      switch (type) {
        case kNumber: set(column, NumberCell(ReadDouble(data, kCellHead), style)); break;
        case kRk: set(column, NumberCell(RkNumber(ReadU32(data, kCellHead)), style)); break;
        case kLabelSst: set(column, TextCell(kSharedText | ReadU32(data, kCellHead))); break;
        case kLabel:
        case kRichString: set(column, TextCell(InlineText(cursor.offset(), kCellHead))); break;
        case kBoolErr:
          set(column, TruthOrErrorCell(ReadU8(data, kCellHead), ReadU8(data, kCellHead + 1) != 0));
          break;
        default: {
          Cell* cell = set(column, FormulaCell(data, style));
          if (cell != nullptr && cell->kind == Cell::Kind::kText) awaits_text = cell;
        }
      }
    }
  }
}

void BiffSheet::AppendText(const Cell& cell, std::string& text) const {
  if (cell.text == 0) return;  // a formula without a text
  const ScatteredBytes& stream = workbook_->stream();
  if ((cell.text & kSharedText) != 0) {
    return workbook_->shared_strings().AppendText(stream, cell.text & ~kSharedText, text);
  }
  RecordCursor record(stream, static_cast<std::size_t>(cell.text >> 8));
  if (!record.Next()) RaiseDamaged("ein Text fehlt");
  workbook_->AppendInlineText(
      RecordPosition{static_cast<std::uint32_t>(record.offset() + kRecordHead + (cell.text & 0xFF)),
                     static_cast<std::uint32_t>(record.end())},
      text);
}

}  // namespace kestrel::excel
