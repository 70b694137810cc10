// A dBase table read alone, without a connection.
#include "formats/dbase/table.h"

#include <gmock/gmock.h>

#include "support/dbf_writer.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel::dbase {

using testing::DbfWriter;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

std::string ReadFixture(const char* name) {
  return testing::ReadBytes(testing::InSourceTree("tests/platform/data/fixtures/" + std::string(name)));
}

// What reading the cell raises.
std::optional<FormatError> FaultIn(const Table& table, std::size_t column) {
  try {
    table.Text(column);
  } catch (const FormatError& error) {
    return error;
  }
  return std::nullopt;
}

}  // namespace

TEST(DbaseTable, IsReadFromAPathWithTheMemoFileBesideItInAnyCase) {
  const testing::TempFolder folder;
  const std::string path = folder.Write("Kunden.dbf", ReadFixture("foxpro.dbf"));
  const std::string memo = ReadFixture("foxpro.fpt");
  folder.Write("KUNDEN.FPT", memo);
  Table from_files(path);
  const std::string bytes = ReadFixture("foxpro.dbf");
  Table from_bytes = Table::OfBytes(bytes, memo);
  EXPECT_EQ(from_files.ColumnNames(), ReadColumnNames(path));
  EXPECT_EQ(from_files.ColumnNames(), from_bytes.ColumnNames());
  ASSERT_EQ(from_files.RowCount(), from_bytes.RowCount());
  ASSERT_GT(from_files.RowCount(), 0U);
  for (std::size_t row = 0; row < from_files.RowCount(); ++row) {
    from_files.GoTo(row);
    from_bytes.GoTo(row);
    for (std::size_t column = 0; column < from_files.ColumnNames().size(); ++column) {
      EXPECT_EQ(from_files.IsNull(column), from_bytes.IsNull(column));
      EXPECT_EQ(from_files.Text(column), from_bytes.Text(column));
    }
  }
  EXPECT_FALSE(from_files.Loss());
}

TEST(DbaseTable, WalksLiveRecordsAndGoesBack) {
  DbfWriter writer({{"NAME"}});
  for (const char* name : {"eins", "zwei", "drei"}) writer.Add({name}, name == std::string("zwei"));
  Table table = Table::OfBytes(writer.Bytes(), "");
  EXPECT_THAT(table.ColumnNames(), ElementsAre("NAME"));
  ASSERT_EQ(table.RowCount(), 2U);
  table.GoTo(1);
  EXPECT_EQ(table.Text(0), "drei");
  table.GoTo(0);
  EXPECT_EQ(table.Text(0), "eins");
}

TEST(DbaseTable, ACellThatCannotBeReadTellsItsPlace) {
  DbfWriter writer({{"NAME"}, {"TEXT", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"weg", ""}, true);
  writer.Add({"da", "7"});
  const testing::TempFolder folder;
  const std::string path = folder.Write("a.dbf", writer.Bytes());
  const std::string memo = folder.Write("a.dbt", std::string(512, '\0'));
  Table table(path);
  table.GoTo(0);
  const auto fault = FaultIn(table, 1);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->place().file, memo);
  EXPECT_EQ(fault->place().record, 1U) << "counted from 0, the deleted one too";
  EXPECT_EQ(fault->place().column, 1U);
  EXPECT_EQ(fault->place().offset, 7U * 512) << "in the memo file";
  EXPECT_THAT(fault->Description(), HasSubstr("Satz 2, Feld TEXT: "));
}

TEST(DbaseTable, AColumnOfAnUnknownTypeTellsItsPlaceInTheTable) {
  DbfWriter writer({{"NAME"}, {"X", 'x', 3}});
  writer.Add({"da", "abc"});
  const std::string bytes = writer.Bytes();
  Table table = Table::OfBytes(bytes, "");
  table.GoTo(0);
  const auto fault = FaultIn(table, 1);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->place().offset, bytes.find("abc"));
}

TEST(DbaseTable, MissingRecordsAreToldWithTheirPlace) {
  DbfWriter writer({{"NAME"}});
  for (int i = 0; i < 3; ++i) writer.Add({"x"});
  writer.ClaimRecordCount(5);
  Table table = Table::OfBytes(writer.Bytes(), "");
  EXPECT_EQ(table.RowCount(), 3U);
  EXPECT_EQ(table.PromisedRows(), 5U);
  const auto loss = table.Loss();
  ASSERT_TRUE(loss);
  EXPECT_EQ(loss->place().record, 3U);
  EXPECT_THAT(loss->Description(), HasSubstr("nennt 5 Sätze, in der Datei sind nur 3"));
}

TEST(DbaseTable, ABadHeadTellsWhereInTheFile) {
  try {
    Table::OfBytes(std::string(40, 'x'), "");
    FAIL();
  } catch (const FormatError& error) {
    EXPECT_EQ(error.place().offset, 0U);
  }
}

}  // namespace kestrel::dbase
