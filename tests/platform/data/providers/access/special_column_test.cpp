// Columns of Access 2007 and later: calculated ones, and those that other tables hold the values of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kestrel/open_connection.h"
#include "platform/data/providers/access/access_connection.h"
#include "support/expect_error.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::JetBuilder;
using testing::Le16;
using testing::Le32;
using testing::Le64;
using testing::LeDouble;
using ::testing::SizeIs;

constexpr int kComplex = 18;

access::AccessConnection Connect(JetBuilder& builder) {
  return access::AccessConnection(access::Database(builder.Build(), std::string_view()));
}

// A calculated column's only cell, read from the table and through a query.
std::string Calculated(int kind, std::uint8_t result, JetBuilder::Cell cell) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"Nr", 4, 4}, {"Wert", kind, 0, 0, std::nullopt, result}});
  builder.AddRow(table, {Le32(1), std::move(cell)});
  builder.AddQuery("Q", {{1, 1}, {5, {}, "", "T"}, {6, 0, "T.Wert"}});
  access::AccessConnection connection = Connect(builder);
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From T");
  const RecordsetPtr query = connection.OpenRecordset("SELECT * From Q");
  EXPECT_EQ(rows->IsNull(1), query->IsNull(0));
  EXPECT_EQ(rows->TextAt(1), query->TextAt(0));
  return rows->IsNull(1) ? "NULL" : std::string(rows->TextAt(1));
}

TEST(AccessCalculatedColumn, EachResultTypeIsRead) {
  const auto wrapped = &JetBuilder::Wrapped;
  EXPECT_EQ(Calculated(10, 10, wrapped("\xFF\xFEWayne, Bruce")), "Wayne, Bruce");
  EXPECT_EQ(Calculated(10, 10, wrapped(testing::Utf16("Łódź"))), "Łódź");
  EXPECT_EQ(Calculated(2, 2, wrapped("\xFF")), "255");
  EXPECT_EQ(Calculated(3, 3, wrapped(Le16(0x8000))), "-32768");
  EXPECT_EQ(Calculated(4, 4, wrapped(Le32(12))), "12");
  EXPECT_EQ(Calculated(7, 5, wrapped(Le64(833333333))), "83333,3333");
  EXPECT_EQ(Calculated(16, 6, wrapped(Le32(0x45217359))), "2583,2092");
  EXPECT_EQ(Calculated(7, 7, wrapped(LeDouble(0.1))), "0,1");
  EXPECT_EQ(Calculated(8, 8, wrapped(LeDouble(38143.75))), "05.06.2004 18:00:00");
  EXPECT_EQ(Calculated(19, 19, wrapped(Le64(5000000000))), "5000000000");
}

TEST(AccessCalculatedColumn, ADecimalHasAFormOfItsOwn) {
  const auto decimal = [](int scale, int sign, std::uint32_t high, std::uint64_t low) {
    return JetBuilder::Wrapped(Le16(14) + static_cast<char>(scale) + static_cast<char>(sign) + Le32(high) +
                               Le64(low));
  };
  EXPECT_EQ(Calculated(7, 16, decimal(10, 0, 0, 192307692307692)), "19230,7692307692");
  EXPECT_EQ(Calculated(16, 16, decimal(6, 0x80, 0, 36222200)), "-36,2222");
  EXPECT_EQ(Calculated(16, 16, decimal(18, 0, 0xB693E958, 0x1852AAF7C8EA4D74)),
            "56505085819,42479129657228018");
}

TEST(AccessCalculatedColumn, ATruthValueCanBeNull) {
  EXPECT_EQ(Calculated(3, 1, JetBuilder::Wrapped("\xFF")), "Wahr");
  EXPECT_EQ(Calculated(3, 1, JetBuilder::Wrapped(std::string(1, '\0'))), "Falsch");
  EXPECT_EQ(Calculated(3, 1, std::nullopt), "NULL");
}

TEST(AccessCalculatedColumn, AMemoIsWrappedWhereItLies) {
  const std::string text(3000, 'x');
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"Wert", 10, 0, 0, std::nullopt, std::uint8_t{12}}});
  builder.AddRow(table, {builder.Inline(JetBuilder::Wrapped(testing::Utf16("kurz")))});
  builder.AddRow(table, {builder.OnePage(JetBuilder::Wrapped(testing::Utf16("mittel")))});
  builder.AddRow(table, {builder.Pieces(JetBuilder::Wrapped(testing::Utf16(text)), 1000)});
  access::AccessConnection connection = Connect(builder);
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From T");
  EXPECT_EQ(rows->TextAt(0), "kurz");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "mittel");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), text);
}

TEST(AccessCalculatedColumn, AValueThatIsCutIsAnErrorAndNoGarbage) {
  EXPECT_ERROR(Calculated(4, 4, JetBuilder::Wrapped(Le32(12)).substr(0, 22)), ErrorNumber::kDatabase);
  EXPECT_ERROR(Calculated(4, 4, JetBuilder::Wrapped(Le16(12))), ErrorNumber::kDatabase);
  EXPECT_ERROR(Calculated(4, 4, "\x01"), ErrorNumber::kDatabase);
  EXPECT_EQ(Calculated(4, 4, JetBuilder::Wrapped("")), "NULL");
}

TEST(AccessCalculatedColumn, WithoutAKnownResultTypeItIsLeftOut) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"Nr", 4, 4}, {"Wert", 7, 0, 0, std::nullopt, std::uint8_t{0}}});
  builder.AddRow(table, {Le32(1), JetBuilder::Wrapped(Le64(1))});
  access::AccessConnection connection = Connect(builder);
  EXPECT_THAT(connection.ColumnNames("T"), ElementsAre("Nr"));
  EXPECT_THAT(connection.Remarks("T").at(0).text, HasSubstr("berechnetes Feld"));
}

// A date of Access 2019, read from the table and through a query.
std::string ExtendedDate(const std::string& stored) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"Wann", 20, 42}});
  builder.AddRow(table, {stored + std::string(1, '\0')});
  builder.AddQuery("Q", {{1, 1}, {5, {}, "", "T"}, {6, 0, "T.Wann"}});
  access::AccessConnection connection = Connect(builder);
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From T");
  EXPECT_EQ(rows->TextAt(0), connection.OpenRecordset("SELECT * From Q")->TextAt(0));
  return std::string(rows->TextAt(0));
}

TEST(AccessExtendedDate, ReadsAsADateAndATime) {
  EXPECT_EQ(ExtendedDate("0000000000000737424:0000000432000000000:7"), "01.01.2020 12:00:00");
  EXPECT_EQ(ExtendedDate("0000000000000737424:0000000000000000000:7"), "01.01.2020");
  EXPECT_EQ(ExtendedDate("0000000000000737424:0000000863999999999:7"), "01.01.2020 23:59:59");
  EXPECT_EQ(ExtendedDate("0000000000000000000:0000000000000000000:7"), "01.01.0001");
  EXPECT_EQ(ExtendedDate("0000000000003652058:0000000863990000000:7"), "31.12.9999 23:59:59");
}

TEST(AccessExtendedDate, WhatIsNoDateIsAnError) {
  EXPECT_ERROR(ExtendedDate("0000000000009999999:0000000000000000000:7"), ErrorNumber::kDatabase);
  EXPECT_ERROR(ExtendedDate("000000000000073742x:0000000000000000000:7"), ErrorNumber::kDatabase);
}

TEST(AccessLeftOutColumn, TheOthersAreReadAndItIsTold) {
  JetBuilder builder;
  const auto table =
      builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Bild", kComplex, 4}, {"Name"}, {"Neu", 33, 8}});
  builder.AddRow(table, {Le32(7), Le32(1), builder.Text("Meier"), Le64(0)});
  access::AccessConnection connection = Connect(builder);
  EXPECT_THAT(connection.ColumnNames("Kunden"), ElementsAre("Nr", "Name"));
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From Kunden");
  ASSERT_EQ(rows->ColumnCount(), 2U);
  EXPECT_EQ(rows->TextAt(0), "7");
  EXPECT_EQ(rows->TextAt(1), "Meier");
  const std::vector<SourceRemark> remarks = connection.Remarks("Kunden");
  ASSERT_THAT(remarks, SizeIs(2));
  EXPECT_EQ(remarks[0].column, "Bild");
  EXPECT_THAT(remarks[0].text, HasSubstr("'Bild' der Tabelle 'Kunden'"));
  EXPECT_THAT(remarks[0].text, HasSubstr("Anlage"));
  EXPECT_EQ(remarks[1].column, "Neu");
  EXPECT_THAT(remarks[1].text, HasSubstr("33"));
  EXPECT_THAT(connection.Remarks(""), IsEmpty());
}

TEST(AccessLeftOutColumn, AQueryReadsTheOthersAndNamesItWhereItIsAskedFor) {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Bild", kComplex, 4}, {"Name"}});
  builder.AddRow(table, {Le32(7), Le32(1), builder.Text("Meier")});
  builder.AddQuery("Alle", {{1, 1}, {3, 1}, {5, {}, "", "Kunden"}});
  builder.AddQuery("Bilder", {{1, 1}, {5, {}, "", "Kunden"}, {6, 0, "Kunden.Bild"}});
  access::AccessConnection connection = Connect(builder);
  EXPECT_THAT(connection.ColumnNames("Alle"), ElementsAre("Nr", "Name"));
  EXPECT_EQ(connection.OpenRecordset("SELECT * From Alle")->TextAt(1), "Meier");
  EXPECT_ERROR_TEXT(connection.OpenRecordset("SELECT * From Bilder"), ErrorNumber::kDatabase,
                    HasSubstr("'Bild'"));
}

TEST(AccessRemarks, TellOfRowsAndTablesThatAreMissing) {
  JetBuilder builder;
  const auto table = builder.AddTable("Kunden", {{"Nr", 4, 4}, {"Name"}});
  for (std::uint32_t i = 0; i < 1000; ++i)
    builder.AddRow(table, {Le32(i), builder.Text(std::string(100, 'x'))});
  access::AccessConnection connection(
      access::Database(builder.Build().substr(0, 20 * 4096), std::string_view()));
  const std::vector<SourceRemark> remarks = connection.Remarks("Kunden");
  ASSERT_THAT(remarks, SizeIs(1));
  EXPECT_EQ(remarks[0].column, "");
  EXPECT_THAT(remarks[0].text, HasSubstr("von 1000"));
}

class PublicAccdb : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = testing::TestDataFolder();
    if (folder_.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  }
  RecordsetPtr Read(const std::string& name) {
    connection_ = OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_ + "/accdb/" + name);
    return connection_->OpenRecordset("SELECT * From Table1");
  }

  std::string folder_;
  ConnectionPtr connection_;
};

TEST_F(PublicAccdb, CalculatedColumnsAreReadAsAccessShowsThem) {
  const RecordsetPtr rows = Read("calcFieldTestV2010.accdb");
  const auto cell = [&](std::string_view column) {
    return std::string(rows->TextAt(rows->RequireColumn(column)));
  };
  EXPECT_EQ(cell("LastFirst"), "Wayne, Bruce");
  EXPECT_EQ(cell("LastFirstLen"), "12");
  EXPECT_EQ(cell("MonthlySalary"), "83333,3333");
  EXPECT_EQ(cell("IsRich"), "Wahr");
  EXPECT_EQ(cell("AllNames"), "Wayne, Bruce=Wayne, Bruce");
  EXPECT_EQ(cell("WeeklySalary"), "19230,7692307692");
  EXPECT_EQ(cell("SalaryTest"), "1000000");
  EXPECT_EQ(cell("BoolTest"), "Wahr");
  EXPECT_EQ(cell("DecimalTest"), "50,325");
  EXPECT_EQ(cell("FloatTest"), "2583,2092");
  EXPECT_EQ(cell("BigNumTest"), "56505085819,42479129657228018");
  rows->GoTo(2);
  EXPECT_EQ(cell("AllNames"), "Doe, John=Doe, John");
  EXPECT_EQ(cell("IsRich"), "Falsch");
}

TEST_F(PublicAccdb, ATableWithAttachmentsAndSeveralValuesOffersItsOtherColumns) {
  const RecordsetPtr rows = Read("complexDataTestV2007.accdb");
  EXPECT_THAT(connection_->ColumnNames("Table1"), ElementsAre("id", "memo-data", "append-memo-data"));
  ASSERT_EQ(rows->RecordCount(), 4);
  rows->GoTo(2);
  EXPECT_EQ(rows->TextAt(0), "row3");
  EXPECT_EQ(rows->TextAt(2), "row3-memo-again");
  const std::vector<SourceRemark> remarks = connection_->Remarks("Table1");
  ASSERT_THAT(remarks, SizeIs(3));
  EXPECT_THAT(remarks[0].text, HasSubstr("früheren Fassungen"));
  EXPECT_THAT(remarks[2].text, HasSubstr("'attach-data'"));
}

}  // namespace
}  // namespace kestrel
