// Damaged source files: whatever they hold, reading ends soon, with records or with an error in words.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "formats/dbase/table.h"
#include "formats/excel/table.h"
#include "platform/data/workbook_test_support.h"
#include "support/dbf_writer.h"
#include "support/temp_folder.h"

namespace kestrel {

using testing::BiffWriter;
using testing::FixturePath;
using testing::LittleEndian;

namespace {

constexpr int kCopies = 2000;

// A copy with some bytes changed, a part cut out, doubled or taken from elsewhere, or the end missing.
std::string Damaged(std::string bytes, std::mt19937& random) {
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  for (std::size_t change = 1 + below(4); change > 0 && !bytes.empty(); --change) {
    const std::size_t at = below(bytes.size());
    const std::size_t length = 1 + below(std::min<std::size_t>(bytes.size() - at, 64));
    switch (below(8)) {
      case 0: bytes.erase(at, length); break;
      case 1: bytes.insert(at, bytes.substr(at, length)); break;
      case 2: bytes.replace(below(bytes.size()), 1, bytes.substr(at, length)); break;
      case 3: bytes.resize(at); break;
      case 4: bytes[at] = static_cast<char>(0xFF); break;
      case 5: bytes[at] = static_cast<char>(bytes[at] + 1); break;
      default: bytes[at] = static_cast<char>(below(256)); break;
    }
  }
  return bytes;
}

// Runs a step that may fail, but only with a RuntimeError.
template <class Step>
void MayFail(Step&& step) {
  try {
    step();
  } catch (const RuntimeError& error) {
    EXPECT_FALSE(error.Description().empty());
  }
}

void ReadTable(dbase::Table table) {
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    table.GoTo(row);
    for (std::size_t column = 0; column < table.ColumnNames().size(); ++column) {
      MayFail([&] { table.Text(column); });
      MayFail([&] { table.IsNull(column); });
    }
  }
}

void ReadBook(const std::string& bytes) {
  const auto workbook = excel::ReadWorkbook(bytes);
  for (const excel::SheetTable& name : excel::TablesOf(*workbook)) {
    MayFail([&] {
      const excel::Table table(*workbook, name, "");
      for (std::size_t row = 0; row < table.RowCount(); ++row) {
        for (std::size_t column = 0; column < table.ColumnNames().size(); ++column) {
          MayFail([&] { table.Text(row, column); });
          MayFail([&] { table.IsNull(row, column); });
        }
      }
    });
  }
}

// Reads damaged copies of `original`. Only a RuntimeError may come out, and some copies must still be readable
// and some not, or the damage would test nothing. One that is read for ever meets the time limit of all tests.
void ReadDamagedCopies(const std::string& original, const std::function<void(const std::string&)>& read) {
  ASSERT_NO_THROW(read(original));
  std::mt19937 random(20240307);
  int readable = 0;
  for (int copy = 0; copy < kCopies; ++copy) {
    SCOPED_TRACE(copy);
    const std::string bytes = Damaged(original, random);
    try {
      read(bytes);
      ++readable;
    } catch (const RuntimeError& error) {
      ASSERT_FALSE(error.Description().empty());
    }
  }
  EXPECT_GT(readable, 0);
  EXPECT_LT(readable, kCopies);
}

}  // namespace

TEST(BrokenFiles, DbaseTables) {
  const std::string memo = testing::ReadBytes(FixturePath("foxpro.fpt"));
  ReadDamagedCopies(testing::ReadBytes(FixturePath("foxpro.dbf")),
                    [&](const std::string& table) { ReadTable(dbase::Table::OfBytes(table, memo)); });
}

TEST(BrokenFiles, ADamagedMemoFileSpoilsOnlyItsOwnCells) {
  const std::string table = testing::ReadBytes(FixturePath("foxpro.dbf"));
  const std::string memo = testing::ReadBytes(FixturePath("foxpro.fpt"));
  std::mt19937 random(20240307);
  for (int copy = 0; copy < kCopies; ++copy) {
    SCOPED_TRACE(copy);
    const std::string damaged = Damaged(memo, random);
    if (damaged.size() < 8) continue;  // no head left: the table is refused
    dbase::Table rows = dbase::Table::OfBytes(table, damaged);
    rows.GoTo(0);
    EXPECT_EQ(rows.Text(0), "Müller");
    ReadTable(std::move(rows));
  }
}

TEST(BrokenFiles, WorkbooksInACompoundFile) {
  ReadDamagedCopies(testing::ReadBytes(FixturePath("kunden.xls")), ReadBook);
}

TEST(BrokenFiles, BareWorkbookStreams) {
  BiffWriter writer;
  writer.Format(164, "dd.mm.yyyy");
  writer.ExtendedFormat(164);
  std::string texts = LittleEndian(20, 4) + LittleEndian(20, 4);
  for (int i = 0; i < 20; ++i) texts += BiffWriter::WideText("Text " + std::to_string(i));
  writer.GlobalRecord(0x00FC, texts.substr(0, 101));
  writer.GlobalRecord(0x003C, "\x01" + texts.substr(101));
  writer.Name("Kunden", 0, 0, 0, 5, 3);
  writer.Sheet("Tabelle1");
  for (int row = 0; row < 20; ++row) {
    writer.Record(0x00FD, BiffWriter::CellHead(row, 0) + LittleEndian(static_cast<std::uint64_t>(row), 4));
    writer.Number(row, 1, row * 1000.25);
    writer.FormulaText(row, 2);
    writer.StringResult("Größe");
    writer.Truth(row, 3, true);
  }
  ReadDamagedCopies(writer.Bytes(), ReadBook);
}

TEST(BrokenFiles, XmlWorkbooks) { ReadDamagedCopies(testing::ReadBytes(FixturePath("kunden.xlsx")), ReadBook); }

}  // namespace kestrel
