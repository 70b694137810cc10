#include "formats/excel/cell_reference.h"

namespace kestrel::excel {

namespace {

void SkipDollar(std::string_view& text) {
  if (text.starts_with('$')) text.remove_prefix(1);
}

}  // namespace

std::string CellName(CellPosition cell) {
  std::string name;
  for (std::uint32_t left = cell.column + 1; left > 0; left = (left - 1) / 26) {
    name.insert(name.begin(), static_cast<char>('A' + (left - 1) % 26));
  }
  return name + std::to_string(cell.row + 1);
}

std::optional<CellPosition> ParseCell(std::string_view text) {
  std::uint32_t column = 0;
  std::uint32_t row = 0;
  SkipDollar(text);
  while (!text.empty() && text.front() >= 'A' && text.front() <= 'Z') {
    column = column * 26 + static_cast<std::uint32_t>(text.front() - 'A') + 1;
    if (column > kMostColumns) return std::nullopt;
    text.remove_prefix(1);
  }
  SkipDollar(text);
  while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
    row = row * 10 + static_cast<std::uint32_t>(text.front() - '0');
    if (row > kMostRows) return std::nullopt;
    text.remove_prefix(1);
  }
  if (!text.empty() || row == 0 || column == 0) return std::nullopt;
  return CellPosition{row - 1, column - 1};
}

std::optional<CellRange> ParseRange(std::string_view text) {
  const std::size_t colon = text.find(':');
  const auto first = ParseCell(text.substr(0, colon));
  const auto last = colon == std::string_view::npos ? first : ParseCell(text.substr(colon + 1));
  if (!first || !last || last->row < first->row || last->column < first->column) return std::nullopt;
  return CellRange{first->row, first->column, last->row, last->column};
}

}  // namespace kestrel::excel
