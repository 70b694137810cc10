#include "formats/excel/packed_cells.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "formats/excel/cell_reference.h"
#include "formats/excel/packed_number.h"
#include "platform/base/byte_span.h"

namespace kestrel::excel {

namespace {

// A cell is: kind and style in one byte; its column; for a text its place, for a number eight bytes.
constexpr unsigned kStyleShift = 4;
constexpr unsigned kKindMask = 0x0F;

}  // namespace

void PackedCells::Add(std::uint32_t row, std::uint32_t column, const Cell& cell) {
  constexpr std::size_t kLongestRun = std::size_t{1} << 20;
  if (open_run_.empty() || runs_.back().row != row || open_run_.size() > kLongestRun) {
    CloseRun();
    if (runs_.size() == kMostRows) RaiseDamaged("es beginnt immer wieder mit denselben Zeilen");
    runs_.push_back(Run{row, 0, packed_.size()});
    open_used_ = CellRange{row, column, row, column};
  }
  open_run_.push_back(
      static_cast<char>(static_cast<unsigned>(cell.kind) | static_cast<unsigned>(cell.style) << kStyleShift));
  AppendPackedNumber(open_run_, column);
  if (cell.kind == Cell::Kind::kText) {
    AppendPackedNumber(open_run_, cell.text);
  } else {
    char number[sizeof(double)];
    std::memcpy(number, &cell.number, sizeof number);
    open_run_.append(number, sizeof number);
  }
  open_used_.first_column = std::min(open_used_.first_column, column);
  open_used_.last_column = std::max(open_used_.last_column, column);
}

void PackedCells::CloseRun() {
  if (open_run_.empty()) return;
  runs_.back().size = static_cast<std::uint32_t>(open_run_.size());
  packed_.Append(open_run_);
  open_run_.clear();
  Extend(used_, open_used_);
}

void PackedCells::DropOpenRow(std::uint32_t row) {
  if (open_run_.empty() || runs_.back().row != row) return;
  open_run_.clear();
  runs_.pop_back();
}

void PackedCells::Finish() {
  CloseRun();
  const auto by_row = [](const Run& a, const Run& b) { return a.row < b.row; };
  if (!std::is_sorted(runs_.begin(), runs_.end(), by_row)) std::stable_sort(runs_.begin(), runs_.end(), by_row);
}

void PackedCells::ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const {
  std::fill(cells.begin(), cells.end(), Cell());
  auto run = std::lower_bound(runs_.begin(), runs_.end(), row,
                              [](const Run& candidate, std::uint32_t at) { return candidate.row < at; });
  for (; run != runs_.end() && run->row == row; ++run) {
    std::string_view packed = packed_.View(run->begin, run->size);
    while (!packed.empty()) {
      const auto head = static_cast<unsigned char>(packed.front());
      packed.remove_prefix(1);
      Cell cell;
      cell.kind = static_cast<Cell::Kind>(head & kKindMask);
      cell.style = static_cast<NumberStyle>(head >> kStyleShift);
      const std::uint64_t column = TakePackedNumber(packed);
      if (cell.kind == Cell::Kind::kText) {
        cell.text = TakePackedNumber(packed);
      } else {
        std::memcpy(&cell.number, packed.data(), sizeof cell.number);
        packed.remove_prefix(sizeof cell.number);
      }
      if (column >= first_column && column - first_column < cells.size()) cells[column - first_column] = cell;
    }
  }
}

}  // namespace kestrel::excel
