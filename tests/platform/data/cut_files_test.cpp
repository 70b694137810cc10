// Files that were cut short: at whatever byte, either every record comes or the loss is told, and what comes is
// what stood there.
#include <gtest/gtest.h>

#include <functional>

#include "kestrel/open_connection.h"
#include "support/biff_writer.h"
#include "support/dbf_writer.h"
#include "support/project_paths.h"
#include "support/recordset_reading.h"
#include "support/temp_folder.h"
#include "support/xlsx_writer.h"

namespace kestrel {

namespace {

using Rows = std::vector<std::vector<std::string>>;

Rows ManyRows(std::size_t count) {
  Rows rows;
  for (std::size_t i = 0; i < count; ++i) {
    rows.push_back({"Name " + std::to_string(i * 7919 % 1000), "Ort " + std::to_string(i % 17)});
  }
  return rows;
}

class CutFiles : public ::testing::Test {
 protected:
  // Cuts the file at many lengths, all of those near its ends among them.
  void CutEverywhere(const std::string& name, const std::string& bytes, const Rows& whole) {
    ASSERT_EQ(Read(name, bytes), std::pair(whole, std::string()));
    int read_in_part = 0;
    for (std::size_t size = 0; size < bytes.size(); size += size < 150 || bytes.size() - size < 150 ? 1 : 97) {
      SCOPED_TRACE(size);
      try {
        const auto [rows, reason] = Read(name, bytes.substr(0, size));
        ASSERT_LE(rows.size(), whole.size());
        for (std::size_t i = 0; i < rows.size(); ++i) ASSERT_EQ(rows[i], whole[i]);
        ASSERT_TRUE(!reason.empty() || rows.size() == whole.size());
        if (!rows.empty() && rows.size() < whole.size()) ++read_in_part;
      } catch (const RuntimeError& error) {
        ASSERT_NE(error.Description().find(name), std::string::npos) << error.Description();
      }
    }
    read_in_part_ = read_in_part;
  }

  std::pair<Rows, std::string> Read(const std::string& name, const std::string& bytes) {
    const std::string path = folder.Write(name, bytes);
    const bool is_table = name.ends_with(".dbf");
    const ConnectionPtr connection =
        OpenConnection(is_table ? "Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder.path()
                                : "Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
    const RecordsetPtr rows =
        connection->OpenRecordset(is_table ? "SELECT * From KUNDEN" : "SELECT * FROM `S$`");
    return testing::RowsAndReason(*rows);
  }

  testing::TempFolder folder;
  int read_in_part_ = 0;
};

}  // namespace

TEST_F(CutFiles, DbaseTables) {
  const Rows rows = ManyRows(300);
  testing::DbfWriter writer({{"NAME", 'C', 12}, {"ORT", 'C', 10}});
  for (const auto& row : rows) writer.Add(row);
  CutEverywhere("KUNDEN.dbf", writer.Bytes(), rows);
  EXPECT_GT(read_in_part_, 50);
}

TEST_F(CutFiles, BareWorkbookStreams) {
  const Rows rows = ManyRows(120);
  testing::BiffWriter writer;
  writer.Sheet("S");
  writer.Text(0, 0, "Name");
  writer.Text(0, 1, "Ort");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    writer.Text(static_cast<int>(i) + 1, 0, rows[i][0]);
    writer.Text(static_cast<int>(i) + 1, 1, rows[i][1]);
  }
  CutEverywhere("mappe.xls", writer.Bytes(), rows);
  EXPECT_GT(read_in_part_, 20);
}

TEST_F(CutFiles, Archives) {
  const Rows rows = ManyRows(300);
  testing::XlsxWriter writer;
  writer.Sheet("S");
  const std::string name = "Name", place = "Ort";
  writer.Row({&name, &place});
  for (const auto& row : rows) writer.Row({&row[0], &row[1]});
  CutEverywhere("mappe.xlsx", writer.Bytes(), rows);
}

TEST_F(CutFiles, ProtectedArchives) {
  const std::string bytes =
      testing::ReadBytes(testing::InSourceTree("tests/platform/data/fixtures/kunden_agile.xlsx"));
  const ConnectionPtr connection =
      OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + folder.Write("mappe.xlsx", bytes));
  const auto whole = testing::RowsAndReason(*connection->OpenRecordset("SELECT * FROM `Tabelle1$`"));
  for (std::size_t size = 0; size < bytes.size(); size += 61) {
    const std::string path = folder.Write("mappe.xlsx", bytes.substr(0, size));
    try {
      const ConnectionPtr cut = OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
      EXPECT_EQ(testing::RowsAndReason(*cut->OpenRecordset("SELECT * FROM `Tabelle1$`")), whole) << size;
    } catch (const RuntimeError& error) {
      EXPECT_NE(error.Description().find(path), std::string::npos) << error.Description();
    }
  }
}

}  // namespace kestrel
