// Input: a workbook of any kind.
#include "formats/excel/sheet_tables.h"
#include "platform/data/providers/excel/sheet_recordset.h"
#include "read_all.h"

namespace {

void ReadTable(const kestrel::excel::Workbook& workbook, const kestrel::excel::SheetTable& table) {
  kestrel::excel::SheetRecordset rows(workbook.OpenSheet(table.sheet), table.range, {});
  // A sheet may claim a million rows without holding them; small ones show as much.
  constexpr std::int64_t kMostRows = 2000;
  if (rows.RecordCount() <= kMostRows) kestrel::fuzz::ReadAll(rows);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  fuzz::MayFail([&] {
    const auto workbook = excel::ReadWorkbook(fuzz::BytesAsString(data, size));
    for (const excel::SheetTable& table : excel::TablesOf(*workbook)) {
      fuzz::MayFail([&] { ReadTable(*workbook, table); });
    }
  });
  return 0;
}
