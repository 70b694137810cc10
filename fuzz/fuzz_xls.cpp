// Input: a workbook of any kind.
#include "formats/excel/table.h"
#include "read_all.h"

namespace {

void ReadTable(const kestrel::excel::Table& table) {
  // A sheet may claim a million rows without holding them; small ones show as much.
  constexpr std::size_t kMostRows = 2000;
  if (table.RowCount() > kMostRows) return;
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    kestrel::fuzz::ReadCells(table.ColumnNames().size(), [&](std::size_t column) { table.Text(row, column); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  fuzz::MayFail([&] {
    const auto workbook = excel::ReadWorkbook(fuzz::BytesAsString(data, size));
    for (const excel::SheetTable& table : excel::TablesOf(*workbook)) {
      fuzz::MayFail([&] { ReadTable(excel::Table(*workbook, table, "")); });
    }
  });
  return 0;
}
