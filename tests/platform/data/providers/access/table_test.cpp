// Tables of files made here: every kind of column, and every way a row can be stored.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/data/connection_string.h"
#include "platform/data/providers/access/access_provider.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::JetBuilder;
using testing::Le16;
using testing::Le32;
using testing::Le64;
using testing::LeDouble;
using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// A file with one database in it, opened the way a source is opened.
class Opened {
 public:
  explicit Opened(JetBuilder& builder, std::string_view more = "") : Opened(builder.Build(), more) {}
  explicit Opened(std::string_view bytes, std::string_view more = "") {
    const std::string text =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Write("a.mdb", bytes) + std::string(more);
    connection_ = access::Open(ConnectionKeys(text), text);
  }
  Connection* operator->() { return connection_.get(); }
  RecordsetPtr Read(std::string_view table) {
    return connection_->OpenRecordset("SELECT * From " + std::string(table));
  }

 private:
  testing::TempFolder folder_;
  ConnectionPtr connection_;
};

Rows AllRows(Recordset& rows) {
  Rows all;
  for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext()) {
    Row& row = all.emplace_back();
    for (std::size_t i = 0; i < rows.ColumnCount(); ++i) {
      row.push_back(rows.IsNull(i) ? "NULL" : std::string(rows.TextAt(i)));
    }
  }
  return all;
}

// The text of one cell that is stored as these bytes.
std::string TextOf(JetBuilder::ColumnSpec column, std::string bytes) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {std::move(column)});
  builder.AddRow(table, {std::move(bytes)});
  const RecordsetPtr rows = Opened(builder).Read("T");
  return std::string(rows->TextAt(0));
}

std::string ErrorOf(const std::function<void()>& step) {
  try {
    step();
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kDatabase)) << error.Number();
    return error.Description();
  }
  return "no error";
}

TEST(AccessColumn, WholeNumbers) {
  EXPECT_EQ(TextOf({"b", 2, 1}, "\xFF"), "255");
  EXPECT_EQ(TextOf({"i", 3, 2}, Le16(0x8000)), "-32768");
  EXPECT_EQ(TextOf({"l", 4, 4}, Le32(0xFFFFFFFE)), "-2");
  EXPECT_EQ(TextOf({"big", 19, 8}, Le64(0x8000000000000000U)), "-9223372036854775808");
}

TEST(AccessColumn, CurrencyIsExactToFourDigits) {
  EXPECT_EQ(TextOf({"c", 5, 8}, Le64(12345600)), "1234,56");
  EXPECT_EQ(TextOf({"c", 5, 8}, Le64(static_cast<std::uint64_t>(-1))), "-0,0001");
  EXPECT_EQ(TextOf({"c", 5, 8}, Le64(0)), "0");
  EXPECT_EQ(TextOf({"c", 5, 8}, Le64(0x7FFFFFFFFFFFFFFF)), "922337203685477,5807");
  EXPECT_EQ(TextOf({"c", 5, 8}, Le64(0x8000000000000000)), "-922337203685477,5808");
}

TEST(AccessColumn, RealNumbersReadAsTheShortestText) {
  EXPECT_EQ(TextOf({"s", 6, 4}, Le32(0x3DCCCCCD)), "0,1");
  EXPECT_EQ(TextOf({"s", 6, 4}, Le32(0x7F7FFFFF)), TextOf({"d", 7, 8}, LeDouble(3.4028235e38)));
  EXPECT_EQ(TextOf({"d", 7, 8}, LeDouble(0.1)), "0,1");
  EXPECT_EQ(TextOf({"d", 7, 8}, LeDouble(-1234.5)), "-1234,5");
}

TEST(AccessColumn, NumericOfAnySizeIsExact) {
  const auto numeric = [](char sign, std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return std::string(1, sign) + Le32(a) + Le32(b) + Le32(c) + Le32(d);
  };
  EXPECT_EQ(TextOf({"n", 16, 17, 2}, numeric(0, 0, 0, 0, 123450)), "1234,5");
  EXPECT_EQ(TextOf({"n", 16, 17, 3}, numeric('\x80', 0, 0, 0, 5)), "-0,005");
  EXPECT_EQ(TextOf({"n", 16, 17, 0}, numeric(0, 1, 0, 0, 0)), "79228162514264337593543950336");
  EXPECT_EQ(TextOf({"n", 16, 17, 4}, numeric('\x80', 0, 0, 0, 0)), "0");
}

TEST(AccessColumn, Dates) {
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(38143)), "05.06.2004");
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(38143.75)), "05.06.2004 18:00:00");
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(1)), "31.12.1899");
}

TEST(AccessColumn, TheTimeOfADateBefore1900RunsForwards) {
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(-1.25)), "29.12.1899 06:00:00");
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(-657434)), "01.01.0100");
}

TEST(AccessColumn, DayZeroIsATimeAlone) {
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(0.5)), "12:00:00");
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(0)), "00:00:00");
}

TEST(AccessColumn, ASecondShortOfMidnightRoundsToTheNextDay) {
  EXPECT_EQ(TextOf({"d", 8, 8}, LeDouble(38143.9999999)), "06.06.2004");
}

TEST(AccessColumn, BytesAndGuids) {
  EXPECT_EQ(TextOf({"b", 9}, std::string("\x00\xAB", 2)), "00AB");
  EXPECT_EQ(TextOf({"g", 15, 16}, "\x33\x22\x11\x01\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"),
            "{01112233-4455-6677-8899-AABBCCDDEEFF}");
}

TEST(AccessColumn, TextShortenedAndNot) {
  EXPECT_EQ(TextOf({"t"}, "\xFF\xFEMeier"), "Meier");
  EXPECT_EQ(TextOf({"t"}, "\xFF\xFEM\xFCller"), "Müller");
  EXPECT_EQ(TextOf({"t"}, testing::Utf16("Łódź €")), "Łódź €");
  // From single bytes to UTF-16 and back again.
  EXPECT_EQ(TextOf({"t"}, std::string("\xFF\xFE"
                                      "ab\0\x41\x01\x42\x01\0cd",
                                      12)),
            "abŁłcd");
  EXPECT_EQ(TextOf({"t"}, "\x3D\xD8\x0A\xDE"), "\U0001F60A");
}

TEST(AccessTable, TruthValuesAreNeverNull) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"a", 1}, {"b", 1}, {"t"}});
  builder.AddRow(table, {"", std::nullopt, builder.Text("x")});
  const RecordsetPtr rows = Opened(builder).Read("T");
  EXPECT_EQ(AllRows(*rows), (Rows{{"Wahr", "Falsch", "x"}}));
  rows->MoveFirst();
  EXPECT_EQ(rows->ValueAt(0), Value(true));
  EXPECT_EQ(rows->ValueAt(1), Value(false));
}

TEST(AccessTable, NullIsNotTheEmptyText) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"n", 4, 4}, {"t"}, {"m", 12}});
  builder.AddRow(table, {std::nullopt, std::nullopt, std::nullopt});
  builder.AddRow(table, {Le32(0), "", builder.Inline("")});
  const RecordsetPtr rows = Opened(builder).Read("T");
  EXPECT_EQ(AllRows(*rows), (Rows{{"NULL", "NULL", "NULL"}, {"0", "", ""}}));
  rows->MoveFirst();
  EXPECT_TRUE(rows->ValueAt(1).IsNull());
  EXPECT_EQ(rows->TextAt(0), "");
}

TEST(AccessTable, DeletedRowsAreLeftOutAndMovedRowsCountOnce) {
  for (const auto format : {JetBuilder::Format::kJet3, JetBuilder::Format::kJet4}) {
    JetBuilder builder(format);
    const auto table = builder.AddTable("T", {{"t"}});
    builder.AddRow(table, {builder.Text("eins")});
    builder.AddDeletedRow(table, {builder.Text("weg")});
    builder.AddMovedRow(table, {builder.Text("drei")});
    const RecordsetPtr rows = Opened(builder).Read("T");
    EXPECT_EQ(rows->RecordCount(), 2);
    EXPECT_EQ(AllRows(*rows), (Rows{{"eins"}, {"drei"}}));
  }
}

TEST(AccessTable, ADeletedColumnLeavesAGapAndANewColumnIsNullInOldRows) {
  JetBuilder builder;
  const auto table = builder.AddTable("T", {{"a", 4, 4}, {"c", 10, 0, 0, 2}, {"d", 10}, {"e", 1}});
  builder.AddRow(table, {Le32(1), builder.Text("alt"), std::nullopt, std::nullopt}, 2);
  builder.AddRow(table, {Le32(2), builder.Text("neu"), builder.Text("x"), ""});
  const RecordsetPtr rows = Opened(builder).Read("T");
  EXPECT_EQ(AllRows(*rows), (Rows{{"1", "alt", "NULL", "Falsch"}, {"2", "neu", "x", "Wahr"}}));
}

TEST(AccessTable, LongValuesOnOnePageAndOnSeveral) {
  for (const auto format : {JetBuilder::Format::kJet3, JetBuilder::Format::kJet4}) {
    JetBuilder builder(format);
    std::string text;
    for (int i = 0; i < 3000; ++i) text += "Zeile " + std::to_string(i) + " ä\n";
    const auto table = builder.AddTable("T", {{"m", 12}, {"o", 11}});
    builder.AddRow(table, {builder.Inline(builder.Text("kurz")), builder.Inline("\x01\x02")});
    builder.AddRow(table, {builder.OnePage(builder.Text("mittel")), std::nullopt});
    builder.AddRow(table, {builder.Pieces(builder.Text(text), 1500), builder.Pieces("\xAB\xCD\xEF", 2)});
    const RecordsetPtr rows = Opened(builder).Read("T");
    EXPECT_EQ(AllRows(*rows), (Rows{{"kurz", "0102"}, {"mittel", "NULL"}, {text, "ABCDEF"}}));
  }
}

TEST(AccessTable, Jet3RowsLongerThan256BytesUseTheJumpTable) {
  JetBuilder builder(JetBuilder::Format::kJet3);
  std::vector<JetBuilder::ColumnSpec> columns;
  std::vector<JetBuilder::Cell> cells;
  Row expected;
  for (int i = 0; i < 9; ++i) {
    columns.push_back({"c" + std::to_string(i)});
    expected.push_back(std::string(static_cast<std::size_t>(i * 20 + 7), static_cast<char>('a' + i)));
    cells.emplace_back(expected.back());
  }
  const auto table = builder.AddTable("T", std::move(columns));
  builder.AddRow(table, cells);
  EXPECT_EQ(AllRows(*Opened(builder).Read("T")), (Rows{expected}));
}

TEST(AccessTable, Jet3TextIsInTheFilesCodePage) {
  JetBuilder builder(JetBuilder::Format::kJet3);
  const auto table = builder.AddTable("Aufträge", {{"Größe"}});
  builder.AddRow(table, {"\x80 f\xFCr Stra\xDF"
                         "e"});
  Opened opened(builder);
  EXPECT_THAT(opened->ColumnNames("aufträge"), ::testing::ElementsAre("Größe"));
  EXPECT_EQ(AllRows(*opened.Read("Aufträge")), (Rows{{"€ für Straße"}}));
}

TEST(AccessTable, ADefinitionMayTakeSeveralPages) {
  JetBuilder builder;
  std::vector<JetBuilder::ColumnSpec> columns;
  std::vector<JetBuilder::Cell> cells;
  for (int i = 0; i < 200; ++i) {
    columns.push_back({"Eine Spalte mit langem Namen " + std::to_string(i), 4, 4});
    cells.emplace_back(Le32(static_cast<std::uint32_t>(i)));
  }
  const auto table = builder.AddTable("Breit", std::move(columns));
  builder.AddRow(table, cells);
  Opened opened(builder);
  const RecordsetPtr rows = opened.Read("Breit");
  ASSERT_EQ(rows->ColumnCount(), 200U);
  EXPECT_EQ(rows->ColumnName(199), "Eine Spalte mit langem Namen 199");
  EXPECT_EQ(rows->TextAt(199), "199");
}

TEST(AccessTable, ManyPagesAreFoundThroughAMapOfPages) {
  JetBuilder builder(JetBuilder::Format::kJet3);
  const auto table = builder.AddTable("T", {{"n", 4, 4}, {"t"}});
  constexpr std::uint32_t kRows = 12000;
  for (std::uint32_t i = 0; i < kRows; ++i) builder.AddRow(table, {Le32(i), std::string(200, 'x')});
  const RecordsetPtr rows = Opened(builder).Read("T");
  ASSERT_EQ(rows->RecordCount(), kRows);
  rows->GoTo(kRows - 1);
  EXPECT_EQ(rows->TextAt(0), std::to_string(kRows - 1));
  EXPECT_EQ(rows->Bookmark(), kRows - 1);
}

TEST(AccessTable, ARecordSetOutlivesItsConnection) {
  JetBuilder builder;
  builder.AddRow(builder.AddTable("T", {{"t"}}), {builder.Text("noch da")});
  Opened opened(builder);
  const RecordsetPtr rows = opened.Read("T");
  opened->Close();
  EXPECT_EQ(rows->TextAt(0), "noch da");
  EXPECT_THROW(opened->Tables(), RuntimeError);
}

TEST(AccessTable, WithoutAColumnThatCanBeReadItIsRefusedByName) {
  JetBuilder builder;
  builder.AddTable("T", {{"Bilder", 18, 4}});
  Opened opened(builder);
  EXPECT_THAT(ErrorOf([&] { opened.Read("T"); }), ::testing::HasSubstr("'Bilder'"));
}

TEST(AccessCatalog, TablesThenQueriesInDictionaryOrder) {
  JetBuilder builder;
  for (const char* name : {"Zähler", "Äpfel", "artikel", "MSysDings", "~TMPCLP12"})
    builder.AddTable(name, {{"t"}});
  builder.AddQuery("Umsatz", {});
  builder.AddQuery("~sq_cFormular", {}, 3);
  builder.AddQuery("Löschen", {}, 32);
  builder.AddQuery("Kreuz", {}, 16);
  builder.AddLink("Fern", 6, "C:\\Daten\\b.mdb", "Kunden");
  std::vector<std::string> listed;
  for (const CatalogTable& table : Opened(builder)->Tables()) listed.push_back(table.type + " " + table.name);
  EXPECT_THAT(listed, ::testing::ElementsAre("TABLE Äpfel", "TABLE artikel", "LINK Fern", "TABLE Zähler",
                                             "VIEW Kreuz", "VIEW Umsatz"));
}

TEST(AccessCatalog, ALinkedTableSaysWhereItsDataLie) {
  JetBuilder builder;
  builder.AddLink("Fern", 6, "C:\\Daten\\b.mdb", "Kunden");
  builder.AddLink("Server", 4, "", "dbo.Kunden");
  Opened opened(builder);
  EXPECT_THAT(ErrorOf([&] { opened.Read("Fern"); }),
              ::testing::HasSubstr("'C:\\Daten\\b.mdb' (Tabelle 'Kunden')"));
  EXPECT_THAT(ErrorOf([&] { opened.Read("Server"); }), ::testing::HasSubstr("ODBC"));
}

TEST(AccessCatalog, TableNamesAreFoundWithoutCaseWithBlanksAndInBrackets) {
  JetBuilder builder;
  builder.AddRow(builder.AddTable("Meine Kunden Ä", {{"t"}}), {builder.Text("x")});
  Opened opened(builder);
  for (const char* name : {"Meine Kunden Ä", "meine kunden ä", "[Meine Kunden Ä]", "`Meine Kunden Ä`"}) {
    EXPECT_EQ(opened.Read(name)->RecordCount(), 1) << name;
  }
  EXPECT_THAT(ErrorOf([&] { opened.Read("Fehlt"); }), ::testing::HasSubstr("'Fehlt'"));
}

class AccessPassword : public ::testing::TestWithParam<JetBuilder::Format> {};

TEST_P(AccessPassword, OnlyTheRightOneOpensTheFile) {
  const auto build = [] {
    JetBuilder builder(GetParam());
    builder.AddTable("T", {{"t"}});
    builder.SetPassword("Gehäim");
    return builder.Build();
  };
  const std::string file = build();
  EXPECT_EQ(Opened(file, ";Password=Gehäim;User ID=x")->Tables().size(), 1U);
  EXPECT_EQ(Opened(file, ";Password=x;Jet OLEDB:Database Password=Gehäim")->Tables().size(), 1U);
  for (const char* wrong : {"", ";Password=", ";Password=gehäim", ";Password=Geh", ";Password=Gehäim2"}) {
    const std::string text = ErrorOf([&] { Opened(file, wrong); });
    EXPECT_THAT(text, ::testing::HasSubstr("Kennwort")) << wrong;
    EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr("eh"
                                                          "äim")));
  }
}

TEST_P(AccessPassword, AFileWithoutOneOpensWithAny) {
  JetBuilder builder(GetParam());
  builder.AddTable("T", {{"t"}});
  EXPECT_EQ(Opened(builder, ";Password=egal;User ID=sa")->Tables().size(), 1U);
}

TEST_P(AccessPassword, PagesMaskedWithTheKeyInTheHeaderAreRead) {
  JetBuilder builder(GetParam());
  builder.AddRow(builder.AddTable("T", {{"t"}}), {builder.Text("lesbar")});
  builder.SetPageKey(0x12345678);
  EXPECT_EQ(AllRows(*Opened(builder).Read("T")), (Rows{{"lesbar"}}));
}

INSTANTIATE_TEST_SUITE_P(Formats, AccessPassword,
                         ::testing::Values(JetBuilder::Format::kJet3, JetBuilder::Format::kJet4));

TEST(AccessFile, AnEncryptedAccdbThatDoesNotSayHowIsRefusedInWords) {
  JetBuilder builder;
  builder.SetPageKey(7);
  std::string file = builder.Build();
  file.replace(4, 15, "Standard ACE DB");
  file[0x14] = 2;
  EXPECT_THAT(ErrorOf([&] { Opened(file, ""); }), ::testing::HasSubstr("verschlüsselt"));
}

TEST(AccessFile, OtherFilesAreRefused) {
  EXPECT_THAT(ErrorOf([&] { Opened(std::string_view("Name;Ort\r\n"), ""); }),
              ::testing::HasSubstr("keine Access-Datenbank"));
  EXPECT_THAT(ErrorOf([&] { Opened(std::string_view(), ""); }), ::testing::HasSubstr("keine Access-Datenbank"));
  EXPECT_THAT(ErrorOf([] {
                const std::string text = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/gibt/es/nicht.mdb";
                access::Open(ConnectionKeys(text), text);
              }),
              ::testing::HasSubstr("/gibt/es/nicht.mdb"));
}

TEST(AccessFile, ServesTheTwoProvidersOfAccess) {
  EXPECT_TRUE(access::Serves(ConnectionKeys("provider=microsoft.jet.oledb.4.0;Data Source=x")));
  EXPECT_TRUE(access::Serves(ConnectionKeys("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=x")));
  EXPECT_FALSE(access::Serves(ConnectionKeys("Provider=SQLOLEDB.1;Data Source=x")));
  EXPECT_FALSE(access::Serves(ConnectionKeys("")));
}

}  // namespace
}  // namespace kestrel
