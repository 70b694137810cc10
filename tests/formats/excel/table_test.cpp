// Tables of workbooks read alone, without a connection.
#include "formats/excel/table.h"

#include <gmock/gmock.h>
#include <malloc.h>

#include "support/biff_writer.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"
#include "support/xlsx_writer.h"

namespace kestrel::excel {

using testing::BiffWriter;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

std::size_t HeapInUse() {
  const auto heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

}  // namespace

TEST(ExcelTable, IsReadFromBytesByItsName) {
  for (const char* name : {"kunden.xls", "kunden.xlsx"}) {
    SCOPED_TRACE(name);
    const auto workbook = ReadWorkbook(
        testing::ReadBytes(testing::InSourceTree("tests/platform/data/fixtures/" + std::string(name))));
    const std::vector<SheetTable> tables = TablesOf(*workbook);
    ASSERT_FALSE(tables.empty());
    const Table listed(*workbook, tables.front(), name);
    const Table named = Table::Open(*workbook, tables.front().name, name);
    EXPECT_EQ(listed.ColumnNames(), named.ColumnNames());
    ASSERT_GT(named.RowCount(), 0U);
    EXPECT_EQ(listed.RowCount(), named.RowCount());
    EXPECT_EQ(listed.Text(0, 0), named.Text(0, 0));
    EXPECT_FALSE(named.Loss());
  }
}

TEST(ExcelTable, KeepsItsWorkbook) {
  BiffWriter writer;
  writer.Sheet("S");
  writer.Text(0, 0, "Name");
  writer.Text(1, 0, "Meier");
  auto workbook = ReadWorkbook(writer.Bytes());
  const Table table = Table::Open(*workbook, "S$", "a.xls");
  workbook.reset();
  EXPECT_THAT(table.ColumnNames(), ElementsAre("Name"));
  EXPECT_EQ(table.Text(0, 0), "Meier");
}

TEST(ExcelTable, ASheetThatBreaksOffTellsTheRow) {
  BiffWriter writer;
  writer.Sheet("S");
  for (int row = 0; row < 20; ++row) writer.Text(row, 0, "Text " + std::to_string(row));
  const std::string bytes = writer.Bytes();
  const auto workbook = ReadWorkbook(bytes.substr(0, bytes.size() - 40));
  const Table table = Table::Open(*workbook, "S$", "a.xls");
  const auto loss = table.Loss();
  ASSERT_TRUE(loss);
  EXPECT_EQ(loss->place().file, "a.xls");
  EXPECT_EQ(loss->place().record, table.RowCount() + 1) << "the row behind those that are there";
  EXPECT_THAT(loss->Description(), HasSubstr("(a.xls)"));
}

TEST(ExcelTable, OneValueInTheLastCellOfASheetCostsNoRowsInMemory) {
  testing::XlsxWriter writer;
  writer.Sheet("S");
  writer.Xml("<row r='1'><c r='A1'><v>1</v></c></row><row r='1048576'><c r='XFD1048576'><v>2</v></c></row>");
  const auto workbook = ReadWorkbook(writer.Bytes());
  const std::size_t before = HeapInUse();
  const Table table = Table::Open(*workbook, "S$", "a.xlsx");
  EXPECT_EQ(table.RowCount(), 1'048'575U);
  EXPECT_EQ(table.ColumnNames().size(), 16'384U);
  EXPECT_TRUE(table.IsNull(500'000, 0));
  EXPECT_EQ(table.Text(1'048'574, 16'383), "2");
  // A row of cells, names and texts; a byte for each row would be a megabyte more.
  EXPECT_LT(HeapInUse() - before, std::size_t{16'384} * 160);
}

TEST(ExcelTable, AnUnknownNameIsAnErrorThatTellsTheFile) {
  BiffWriter writer;
  writer.Sheet("S");
  const auto workbook = ReadWorkbook(writer.Bytes());
  try {
    Table::Open(*workbook, "T$", "a.xls");
    FAIL();
  } catch (const FormatError& error) {
    EXPECT_EQ(error.place().file, "a.xls");
    EXPECT_THAT(error.Description(), HasSubstr("\"T$\""));
  }
}

}  // namespace kestrel::excel
