// The sources that are files keep the promises of every source.
#include "kestrel/open_connection.h"
#include "platform/base/text.h"
#include "platform/data/connection_contract.h"
#include "support/biff_writer.h"
#include "support/dbf_writer.h"
#include "support/xlsx_writer.h"

namespace kestrel {

using testing::BiffWriter;
using testing::ConnectionContract;
using testing::ContractSource;
using testing::ContractTable;
using testing::DbfColumn;
using testing::DbfWriter;
using testing::ReadOnlyContract;
using testing::RecordsetContract;
using testing::TempFolder;
using testing::XlsxWriter;

namespace {

ConnectionPtr OpenDbf(const TempFolder& folder, const ContractTable& table) {
  std::vector<DbfColumn> columns;
  for (const std::string& name : table.columns) columns.push_back(DbfColumn{name, 'C', 60});
  DbfWriter writer(columns);
  for (const auto& row : table.rows) {
    std::vector<std::string> fields;
    for (const auto& cell : row) fields.push_back(ToWindows1252(cell.value_or("")));
    writer.Add(fields);
  }
  folder.Write(table.name + ".dbf", writer.Bytes());
  return OpenConnection("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder.path() + "; DriverID=277");
}

// The table is a named range, as a sheet would be listed with "$" behind its name.
ConnectionPtr OpenXls(const TempFolder& folder, const ContractTable& table) {
  BiffWriter writer;
  writer.Name(table.name, 0, 0, 0, static_cast<int>(table.rows.size()),
              static_cast<int>(table.columns.size()) - 1);
  writer.Sheet("Tabelle1");
  for (int column = 0; column < static_cast<int>(table.columns.size()); ++column) {
    writer.Text(0, column, table.columns[static_cast<std::size_t>(column)]);
  }
  int row_number = 0;
  for (const auto& row : table.rows) {
    ++row_number;
    for (int column = 0; column < static_cast<int>(row.size()); ++column) {
      if (const auto& cell = row[static_cast<std::size_t>(column)]) writer.Text(row_number, column, *cell);
    }
  }
  return OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" +
                        folder.Write("contract.xls", writer.Bytes()));
}

// The same in the newer format.
ConnectionPtr OpenXlsx(const TempFolder& folder, const ContractTable& table) {
  XlsxWriter writer;
  writer.Name(table.name, "Tabelle1!$A$1:$" + XlsxWriter::ColumnLetters(table.columns.size() - 1) + "$" +
                              std::to_string(table.rows.size() + 1));
  writer.Sheet("Tabelle1");
  std::vector<const std::string*> cells;
  for (const std::string& name : table.columns) cells.push_back(&name);
  writer.Row(cells);
  for (const auto& row : table.rows) {
    cells.clear();
    for (const auto& cell : row) cells.push_back(cell ? &*cell : nullptr);
    writer.Row(cells);
  }
  return OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" +
                        folder.Write("contract.xlsx", writer.Bytes()));
}

ContractSource Dbf() {
  ContractSource source;
  source.name = "Dbf";
  source.open = OpenDbf;
  source.keeps_nulls = false;  // a blank text column is an empty text
  return source;
}

ContractSource Xls() {
  ContractSource source;
  source.name = "Xls";
  source.open = OpenXls;
  return source;
}

ContractSource Xlsx() {
  ContractSource source;
  source.name = "Xlsx";
  source.open = OpenXlsx;
  return source;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Files, RecordsetContract, ::testing::Values(Dbf(), Xls(), Xlsx()),
                         testing::ContractName);
INSTANTIATE_TEST_SUITE_P(Files, ConnectionContract, ::testing::Values(Dbf(), Xls(), Xlsx()),
                         testing::ContractName);
INSTANTIATE_TEST_SUITE_P(Files, ReadOnlyContract, ::testing::Values(Dbf(), Xls(), Xlsx()),
                         testing::ContractName);

}  // namespace kestrel
