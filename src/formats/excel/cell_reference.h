// Cells and rectangles as formulas write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "formats/excel/workbook.h"

namespace kestrel::excel {

struct CellPosition {
  std::uint32_t row = 0;  // both count from 0
  std::uint32_t column = 0;
};

// More than these no sheet has.
inline constexpr std::uint32_t kMostRows = 1'048'576;
inline constexpr std::uint32_t kMostColumns = 16'384;

// "AB12"
std::string CellName(CellPosition cell);

// "AB12", "$AB$12"; letters in upper case. No value for anything else.
std::optional<CellPosition> ParseCell(std::string_view text);
// "A1:D20", each corner as above, or one cell alone.
std::optional<CellRange> ParseRange(std::string_view text);

}  // namespace kestrel::excel
