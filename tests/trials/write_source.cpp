// trial_write_source KIND FILE: writes the table on standard input (lines of texts between tabs, the first of
// them the headings) as a dBase table, a workbook or an Access file. KIND: dbf, xls, xlsx or mdb.
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "support/biff_writer.h"
#include "support/dbf_writer.h"
#include "support/jet_builder.h"
#include "support/xlsx_writer.h"

namespace {

using kestrel::testing::BiffWriter;
using kestrel::testing::DbfColumn;
using kestrel::testing::DbfWriter;
using kestrel::testing::JetBuilder;
using kestrel::testing::XlsxWriter;

using Row = std::vector<std::string>;

std::vector<Row> ReadTable(std::istream& input) {
  std::vector<Row> rows;
  for (std::string line; std::getline(input, line);) {
    Row& row = rows.emplace_back(1);
    for (const char character : line) {
      if (character == '\t') {
        row.emplace_back();
      } else {
        row.back() += character;
      }
    }
  }
  return rows;
}

std::string AsDbf(const std::vector<Row>& rows) {
  std::vector<DbfColumn> columns;
  for (const std::string& name : rows[0]) columns.push_back({name, 'C', 60});
  DbfWriter writer(columns);
  for (std::size_t row = 1; row < rows.size(); ++row) writer.Add(rows[row]);
  return writer.Bytes();
}

std::string AsXls(const std::vector<Row>& rows) {
  BiffWriter writer;
  writer.Sheet("Tabelle1");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t column = 0; column < rows[row].size(); ++column) {
      writer.Text(static_cast<int>(row), static_cast<int>(column), rows[row][column]);
    }
  }
  return writer.Bytes();
}

std::string AsXlsx(const std::vector<Row>& rows) {
  XlsxWriter writer;
  writer.Sheet("Tabelle1");
  for (const Row& row : rows) {
    std::vector<const std::string*> cells;
    for (const std::string& text : row) cells.push_back(&text);
    writer.Row(cells);
  }
  return writer.Bytes();
}

std::string AsMdb(const std::vector<Row>& rows) {
  JetBuilder builder;
  std::vector<JetBuilder::ColumnSpec> columns;
  for (const std::string& name : rows[0]) columns.push_back({name});
  const std::size_t table = builder.AddTable("Adressen", columns);
  for (std::size_t row = 1; row < rows.size(); ++row) {
    std::vector<JetBuilder::Cell> cells;
    for (const std::string& text : rows[row]) cells.push_back(builder.Text(text));
    builder.AddRow(table, cells);
  }
  return builder.Build();
}

}  // namespace

int main(int count, char** arguments) {
  const std::string kind = count == 3 ? arguments[1] : "";
  const auto write = kind == "dbf"    ? AsDbf
                     : kind == "xls"  ? AsXls
                     : kind == "xlsx" ? AsXlsx
                     : kind == "mdb"  ? AsMdb
                                      : nullptr;
  if (write == nullptr) {
    std::cerr << "usage: trial_write_source dbf|xls|xlsx|mdb FILE <TABLE\n";
    return 2;
  }
  std::ofstream(arguments[2], std::ios::binary) << write(ReadTable(std::cin)) << std::flush;
  return 0;
}
