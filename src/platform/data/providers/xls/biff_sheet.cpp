#include "platform/data/providers/xls/biff_sheet.h"

#include <algorithm>
#include <utility>

namespace kestrel::xls {

namespace {

constexpr std::size_t kRecordHead = 4;
constexpr std::size_t kCellHead = 6;  // row, column, extended format

// How Cell::text names a text: one of the shared ones by its number; an inline one by where its record begins
// and how many bytes stand before the text.
constexpr std::uint64_t kSharedText = std::uint64_t{1} << 63;
std::uint64_t InlineText(std::size_t record, std::size_t skip) { return std::uint64_t{record} << 8 | skip; }

bool IsCellWithValue(std::uint16_t type) {
  switch (type) {
    case kFormula:
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

void BiffSheet::Extend(std::uint32_t row, std::uint32_t first_column, std::uint32_t last_column) {
  if (!used_) used_ = CellRange{row, first_column, row, last_column};
  used_->first_row = std::min(used_->first_row, row);
  used_->last_row = std::max(used_->last_row, row);
  used_->first_column = std::min(used_->first_column, first_column);
  used_->last_column = std::max(used_->last_column, last_column);
}

void BiffSheet::Index(std::uint32_t offset) {
  RecordCursor cursor(workbook_->stream(), offset);
  if (!cursor.Next() || cursor.type() != kBof) RaiseDamaged("ein Tabellenblatt fehlt");
  bool sorted = true;
  bool run_goes_on = false;
  for (int depth = 1; depth > 0 && cursor.Next();) {
    // A chart within the sheet is a stream of its own, with numbers that are no cells of the sheet.
    if (cursor.type() == kBof) ++depth;
    if (cursor.type() == kEof) --depth;
    if (depth != 1) {
      run_goes_on = false;
      continue;
    }
    const auto end = static_cast<std::uint32_t>(cursor.end());
    if (cursor.type() == kString && run_goes_on) runs_.back().end = end;
    if (!IsCellWithValue(cursor.type())) continue;
    const Bytes data = cursor.data();
    const std::uint32_t row = ReadU16(data, 0);
    const std::uint32_t column = ReadU16(data, 2);
    const std::uint32_t last_column = cursor.type() == kMulRk ? ReadU16(data, data.size() - 2) : column;
    if (last_column < column) RaiseDamaged("die Spalten eines Satzes sind vertauscht");
    Extend(row, column, last_column);
    if (run_goes_on && runs_.back().row == row) {
      runs_.back().end = end;
    } else {
      run_goes_on = true;
      sorted = sorted && (runs_.empty() || runs_.back().row <= row);
      runs_.push_back(Run{row, static_cast<std::uint32_t>(cursor.offset()), end});
    }
  }
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
      const std::uint32_t column = ReadU16(data, 2);
      if (type == kMulRk) {
        // Row and first column, pairs of extended format and number, last column.
        for (std::size_t i = 0; 4 + (i + 1) * 6 + 2 <= data.size(); ++i) {
          const NumberStyle style = workbook_->StyleOf(ReadU16(data, 4 + i * 6));
          set(column + static_cast<std::uint32_t>(i), NumberCell(RkNumber(ReadU32(data, 6 + i * 6)), style));
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

}  // namespace kestrel::xls
