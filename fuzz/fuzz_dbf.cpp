// Input: a table; where it holds the bytes "MEMO", what follows them is its memo file.
#include "formats/dbase/table.h"
#include "read_all.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  const std::string input = fuzz::BytesAsString(data, size);
  const std::size_t mark = input.find("MEMO");
  const std::string memo = mark == std::string::npos ? "" : input.substr(mark + 4);
  fuzz::MayFail([&] {
    dbase::Table table = dbase::Table::OfBytes(std::string_view(input).substr(0, mark), memo);
    for (std::size_t row = 0; row < table.RowCount(); ++row) {
      table.GoTo(row);
      fuzz::ReadCells(table.ColumnNames().size(), [&](std::size_t column) { table.Text(column); });
    }
  });
  return 0;
}
