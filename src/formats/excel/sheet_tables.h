// The tables a workbook offers: its sheets and named ranges, under the names the classic driver gives them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/excel/workbook.h"

namespace kestrel::excel {

// A table of a workbook: a sheet, or a range of it.
struct SheetTable {
  std::string name;  // Tabelle1$, 'Mit Blank$', Kunden, 'Mit Blank$Kunden'
  std::size_t sheet = 0;
  std::optional<CellRange> range;
};

// The sheets in the workbook's order, then the named ranges. A name stands in apostrophes where it holds
// anything but letters, digits and "_" or begins with a digit; an apostrophe in it is then doubled.
std::vector<SheetTable> TablesOf(const Workbook& workbook);

// The table meant by a name: as it is listed, without its apostrophes (those within doubled or not), a sheet
// also without its "$", a rectangle of a sheet as Tabelle1$A1:D20. Case does not matter, and "#" stands for a
// point, too, as the classic driver writes it.
std::optional<SheetTable> FindTable(const Workbook& workbook, std::string_view name);

}  // namespace kestrel::excel
