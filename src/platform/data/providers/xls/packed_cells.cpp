#include "platform/data/providers/xls/packed_cells.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kestrel::xls {

namespace {

// A cell is: kind and style in one byte; its column; for a text its place, for a number eight bytes.
constexpr unsigned kStyleShift = 4;
constexpr unsigned kKindMask = 0x0F;

}  // namespace

// Seven bits a byte, the lowest first; the top bit says that more follow.
void PackedCells::PutNumber(std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) packed_.push_back(static_cast<char>(number | 0x80));
  packed_.push_back(static_cast<char>(number));
}

std::uint64_t PackedCells::TakeNumber(std::size_t& at) const {
  std::uint64_t number = 0;
  for (unsigned shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(packed_[at++]);
    number |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return number;
  }
}

void PackedCells::Add(std::uint32_t row, std::uint32_t column, const Cell& cell) {
  if (runs_.empty() || runs_.back().row != row) runs_.push_back(Run{row, packed_.size(), packed_.size()});
  packed_.push_back(
      static_cast<char>(static_cast<unsigned>(cell.kind) | static_cast<unsigned>(cell.style) << kStyleShift));
  PutNumber(column);
  if (cell.kind == Cell::Kind::kText) {
    PutNumber(cell.text);
  } else {
    char number[sizeof(double)];
    std::memcpy(number, &cell.number, sizeof number);
    packed_.append(number, sizeof number);
  }
  runs_.back().end = packed_.size();

  if (!used_) used_ = CellRange{row, column, row, column};
  used_->first_row = std::min(used_->first_row, row);
  used_->last_row = std::max(used_->last_row, row);
  used_->first_column = std::min(used_->first_column, column);
  used_->last_column = std::max(used_->last_column, column);
}

void PackedCells::Finish() {
  packed_.shrink_to_fit();
  const auto by_row = [](const Run& a, const Run& b) { return a.row < b.row; };
  if (!std::is_sorted(runs_.begin(), runs_.end(), by_row)) std::stable_sort(runs_.begin(), runs_.end(), by_row);
}

void PackedCells::ReadRow(std::uint32_t row, std::uint32_t first_column, std::span<Cell> cells) const {
  std::fill(cells.begin(), cells.end(), Cell());
  auto run = std::lower_bound(runs_.begin(), runs_.end(), row,
                              [](const Run& candidate, std::uint32_t at) { return candidate.row < at; });
  for (; run != runs_.end() && run->row == row; ++run) {
    for (std::size_t at = run->begin; at < run->end;) {
      const auto head = static_cast<unsigned char>(packed_[at++]);
      Cell cell;
      cell.kind = static_cast<Cell::Kind>(head & kKindMask);
      cell.style = static_cast<NumberStyle>(head >> kStyleShift);
      const std::uint64_t column = TakeNumber(at);
      if (cell.kind == Cell::Kind::kText) {
        cell.text = TakeNumber(at);
      } else {
        std::memcpy(&cell.number, packed_.data() + at, sizeof cell.number);
        at += sizeof cell.number;
      }
      if (column >= first_column && column - first_column < cells.size()) cells[column - first_column] = cell;
    }
  }
}

}  // namespace kestrel::xls
