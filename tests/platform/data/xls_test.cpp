#include <gmock/gmock.h>

#include "platform/base/text.h"
#include "platform/data/workbook_test_support.h"
#include "support/dbf_writer.h"
#include "support/expect_error.h"

namespace kestrel {

using testing::BiffWriter;
using ::testing::ElementsAre;
using testing::FixturePath;
using ::testing::HasSubstr;
using testing::LittleEndian;
using testing::OpenBook;
using ::testing::SizeIs;
using testing::TableNames;
using testing::TableRows;
using testing::TempFolder;

namespace {

using Row = std::vector<std::string>;

class Xls : public ::testing::Test {
 protected:
  ConnectionPtr Open(const BiffWriter& writer) { return OpenBook(folder.Write("mappe.xls", writer.Bytes())); }
  // The text of a number shown by a format code, below a heading.
  std::string Shown(double number, std::string_view code, bool from_1904 = false) {
    BiffWriter writer;
    if (from_1904) writer.GlobalRecord(0x0022, LittleEndian(1, 2));
    writer.Format(164, code);
    writer.ExtendedFormat(164);
    writer.Sheet("S");
    writer.Text(0, 0, "Wert");
    writer.Number(1, 0, number, 0);
    return TableRows(*Open(writer), "S$")[1][0];
  }

  TempFolder folder;
};

// A sheet with one column "A" and the value 1.
void AddSmallSheet(BiffWriter& writer, std::string_view name) {
  writer.Sheet(name);
  writer.Text(0, 0, "A");
  writer.Number(1, 0, 1);
}

}  // namespace

// --- Tables ------------------------------------------------------------------------------------

TEST_F(Xls, SheetsAreListedAsTheDriverWritesThem) {
  BiffWriter writer;
  for (const char* name : {"Tabelle1", "Mit Blank", "Übersicht", "2024", "O'Neill", "A_b", "Stand 1.1."}) {
    AddSmallSheet(writer, name);
  }
  EXPECT_THAT(TableNames(*Open(writer)), ElementsAre("Tabelle1$", "'Mit Blank$'", "Übersicht$", "'2024$'",
                                                     "'O''Neill$'", "A_b$", "'Stand 1.1.$'"));
}

TEST_F(Xls, EveryListedNameOpensItsSheet) {
  BiffWriter writer;
  for (const char* name : {"Tabelle1", "Mit Blank", "Übersicht", "2024", "O'Neill", "Stand 1.1."}) {
    writer.Sheet(name);
    writer.Text(0, 0, name);
  }
  const ConnectionPtr connection = Open(writer);
  EXPECT_EQ(connection->ColumnNames("Tabelle1$"), Row{"Tabelle1"});
  EXPECT_EQ(connection->ColumnNames("'Mit Blank$'"), Row{"Mit Blank"});
  EXPECT_EQ(connection->ColumnNames("Übersicht$"), Row{"Übersicht"});
  EXPECT_EQ(connection->ColumnNames("'2024$'"), Row{"2024"});
  EXPECT_EQ(connection->ColumnNames("'O''Neill$'"), Row{"O'Neill"});
  EXPECT_EQ(connection->ColumnNames("'Stand 1.1.$'"), Row{"Stand 1.1."});
}

TEST_F(Xls, ASheetIsAcceptedWithoutItsSignsAndInAnyCase) {
  BiffWriter writer;
  AddSmallSheet(writer, "Tabelle1");
  writer.Sheet("Stand 1.1.");
  writer.Text(0, 0, "B");
  const ConnectionPtr connection = Open(writer);
  for (const char* name : {"Tabelle1", "TABELLE1$", "tabelle1", "'Tabelle1$'"}) {
    EXPECT_EQ(connection->ColumnNames(name), Row{"A"}) << name;
  }
  for (const char* name : {"Stand 1.1.", "'Stand 1#1#$'", "Stand 1.1.$"}) {
    EXPECT_EQ(connection->ColumnNames(name), Row{"B"}) << name;
  }
  EXPECT_ERROR_TEXT(connection->ColumnNames("Tabelle2$"), ErrorNumber::kDatabase, HasSubstr("Tabelle2$"));
}

TEST_F(Xls, TheQueryNamesTheWorkbookAndTheSheet) {
  const std::string path = FixturePath("kunden.xls");
  const ConnectionPtr connection = OpenBook(path);
  EXPECT_EQ(connection->OpenRecordset("SELECT * FROM `" + path + "`.`Tabelle1$`")->RecordCount(), 3);
  EXPECT_EQ(connection->OpenRecordset("SELECT * FROM `" + path + "`.`'Mit Blank$'`")->TextAt(0), "Köln");
  EXPECT_EQ(connection->OpenRecordset("SELECT * FROM [Tabelle1$]")->RecordCount(), 3);
}

TEST_F(Xls, NamedRangesAreTables) {
  BiffWriter writer;
  writer.Name("Kunden", 0, 1, 1, 3, 2);
  writer.Name("Lokal", 1, 0, 0, 1, 0, 2);
  writer.Name("Versteckt", 0, 0, 0, 1, 1, 0, 1);
  writer.Name("Diagrammname", 2, 0, 0, 1, 1);
  writer.Sheet("Eins");
  for (int row = 0; row < 6; ++row) {
    for (int column = 0; column < 4; ++column) writer.Number(row, column, row * 10 + column);
  }
  AddSmallSheet(writer, "Zwei Drei");
  writer.Sheet("Diagramm", 2);
  const ConnectionPtr connection = Open(writer);
  EXPECT_THAT(TableNames(*connection), ElementsAre("Eins$", "'Zwei Drei$'", "Kunden", "'Zwei Drei$Lokal'"));
  EXPECT_THAT(TableRows(*connection, "kunden"), ElementsAre(Row{"11", "12"}, Row{"21", "22"}, Row{"31", "32"}));
  EXPECT_THAT(TableRows(*connection, "'Zwei Drei$Lokal'"), ElementsAre(Row{"A"}, Row{"1"}));
  EXPECT_THAT(TableRows(*connection, "Eins$C5:D6"), ElementsAre(Row{"42", "43"}, Row{"52", "53"}));
}

TEST_F(Xls, ARangeOfWholeColumnsEndsWithTheSheetsValues) {
  BiffWriter writer;
  writer.Name("Alles", 0, 0, 0, 65535, 0);
  AddSmallSheet(writer, "S");
  EXPECT_THAT(TableRows(*Open(writer), "Alles"), ElementsAre(Row{"A"}, Row{"1"}));
}

TEST_F(Xls, AnEmptySheetHasNoColumnsAndNoRecords) {
  const RecordsetPtr rows = OpenBook(FixturePath("kunden.xls"))->OpenRecordset("SELECT * FROM [Leer$]");
  EXPECT_EQ(rows->ColumnCount(), 0U);
  EXPECT_TRUE(rows->IsEof());
}

// --- Columns and rows --------------------------------------------------------------------------

TEST_F(Xls, AColumnWithoutANameIsCalledByItsPosition) {
  BiffWriter writer;
  writer.Sheet("S");
  writer.Text(2, 3, "Name");
  writer.Text(2, 5, "zwei\nZeilen");
  writer.Number(2, 6, 2024);
  writer.Text(2, 7, "  ");
  writer.Text(3, 4, "x");
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"Name", "F2", "zwei Zeilen", "2024", "F5"},
                                                         Row{"<null>", "x", "<null>", "<null>", "<null>"}));
}

TEST_F(Xls, RowsOnlyFormattedAreNoRecordsButEmptyOnesInBetweenAre) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  writer.Number(3, 0, 3);
  for (int row = 4; row < 20; ++row) writer.Blank(row, 0);
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"A"}, Row{"1"}, Row{"<null>"}, Row{"3"}));
}

TEST_F(Xls, RowsMayBeStoredInAnyOrder) {
  BiffWriter writer;
  writer.Sheet("S");
  writer.Number(2, 0, 20);
  writer.Text(0, 0, "A");
  writer.Number(1, 1, 11);
  writer.Text(0, 1, "B");
  writer.Number(1, 0, 10);
  writer.Number(2, 1, 21);
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"A", "B"}, Row{"10", "11"}, Row{"20", "21"}));
}

TEST_F(Xls, AChartWithinASheetHasNoCells) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  writer.Record(0x0809, LittleEndian(0x0600, 2) + LittleEndian(0x20, 2));
  writer.Number(1, 0, 99);
  writer.Number(7, 7, 99);
  writer.Record(0x000A, "");
  writer.Number(1, 1, 2);
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"A", "F2"}, Row{"1", "2"}));
}

// --- Values ------------------------------------------------------------------------------------

TEST_F(Xls, NumbersOfEveryStorage) {
  BiffWriter writer;
  writer.ExtendedFormat(0);
  writer.Sheet("S");
  for (int column = 0; column < 8; ++column) writer.Text(0, column, "c");
  writer.Number(1, 0, 0.1);
  writer.Rk(1, 1, (123456u << 2) | 2);
  writer.Rk(1, 2, (12345u << 2) | 3);
  writer.Rk(1, 3, 0x3FF80000);  // 1.5
  writer.Rk(1, 4, static_cast<std::uint32_t>(-7 * 4) | 2);
  writer.Record(0x00BD, LittleEndian(1, 2) + LittleEndian(5, 2) + LittleEndian(0, 2) +
                            LittleEndian((1u << 2) | 2, 4) + LittleEndian(0, 2) +
                            LittleEndian((2u << 2) | 2, 4) + LittleEndian(6, 2));
  writer.Formula(1, 7, 1e21);
  EXPECT_THAT(TableRows(*Open(writer), "S")[1],
              ElementsAre("0,1", "123456", "123,45", "1,5", "-7", "1", "2", "1E+21"));
}

TEST_F(Xls, TruthErrorsAndFormulaResults) {
  BiffWriter writer;
  writer.Sheet("S");
  for (int column = 0; column < 5; ++column) writer.Text(0, column, "c");
  writer.Truth(1, 0, true);
  writer.Truth(1, 1, false);
  writer.Error(1, 2);
  writer.FormulaText(1, 3);
  writer.StringResult("Grüße");
  writer.Record(0x0006,
                BiffWriter::CellHead(1, 4) + std::string("\x03\0\0\0\0\0\xFF\xFF", 8) + std::string(8, '\0'));
  EXPECT_THAT(TableRows(*Open(writer), "S")[1], ElementsAre("Wahr", "Falsch", "<null>", "Grüße", ""));
}

TEST_F(Xls, AStringResultMayComeBehindASharedFormula) {
  BiffWriter writer;
  writer.Sheet("S");
  writer.Text(0, 0, "c");
  writer.FormulaText(1, 0);
  writer.Record(0x04BC, std::string(10, '\0'));
  writer.StringResult("geteilt");
  writer.Number(1, 1, 5);
  EXPECT_THAT(TableRows(*Open(writer), "S")[1], ElementsAre("geteilt", "5"));
}

TEST_F(Xls, DatesByTheirNumberFormat) {
  EXPECT_EQ(Shown(25404, "dd\\.mm\\.yyyy"), "20.07.1969");
  EXPECT_EQ(Shown(25404.75, "dd\\.mm\\.yyyy"), "20.07.1969 18:00:00");
  EXPECT_EQ(Shown(25404, "[$-407]d\\. mmmm yyyy;@"), "20.07.1969");
  EXPECT_EQ(Shown(0.5, "hh:mm"), "12:00:00");
  EXPECT_EQ(Shown(1.25, "[h]:mm"), "30:00:00");
  EXPECT_EQ(Shown(1, "yyyy"), "01.01.1900");
  EXPECT_EQ(Shown(59, "yyyy"), "28.02.1900");
  EXPECT_EQ(Shown(61, "yyyy"), "01.03.1900");
  EXPECT_EQ(Shown(2958465, "yyyy"), "31.12.9999");
  EXPECT_EQ(Shown(2958466, "yyyy"), "2958466");
  EXPECT_EQ(Shown(-1, "yyyy"), "-1");
}

TEST_F(Xls, DatesFrom1904) {
  EXPECT_EQ(Shown(1, "dd.mm.yyyy", true), "02.01.1904");
  EXPECT_EQ(Shown(44197 - 1462, "dd.mm.yyyy", true), "01.01.2021");
}

TEST_F(Xls, NumbersWhoseFormatOnlyLooksLikeADate) {
  EXPECT_EQ(Shown(25404, "0.00"), "25404");
  EXPECT_EQ(Shown(25404, "General"), "25404");
  EXPECT_EQ(Shown(25404, "Standard"), "25404");
  EXPECT_EQ(Shown(25404, "0\" Tage\""), "25404");
  EXPECT_EQ(Shown(25404, "0\\d"), "25404");
  EXPECT_EQ(Shown(25404, "[Red]0;[Red]-0"), "25404");
  EXPECT_EQ(Shown(25404, "0_m"), "25404");
  EXPECT_EQ(Shown(25404, "0;yyyy"), "25404");
}

TEST_F(Xls, BuiltInDateFormats) {
  BiffWriter writer;
  for (const std::uint16_t format : std::initializer_list<std::uint16_t>{14, 22, 46, 2})
    writer.ExtendedFormat(format);
  writer.Sheet("S");
  for (int i = 0; i < 4; ++i) writer.Text(0, i, "c");
  for (int i = 0; i < 4; ++i) writer.Number(1, i, 25404.5, i);
  EXPECT_THAT(TableRows(*Open(writer), "S")[1],
              ElementsAre("20.07.1969 12:00:00", "20.07.1969 12:00:00", "609708:00:00", "25404,5"));
}

// --- Texts -------------------------------------------------------------------------------------

TEST_F(Xls, SharedTextsGoOnAcrossRecordsAndChangeTheirWidthThere) {
  BiffWriter writer;
  // "Grüße" of which two characters stand narrow in the first record and three wide in the next; then a text
  // with formatting and phonetic data behind it, cut within that data; then a plain one.
  writer.GlobalRecord(
      0x00FC, LittleEndian(3, 4) + LittleEndian(3, 4) + LittleEndian(5, 2) + std::string(1, '\0') + "Gr");
  std::string rest = std::string(1, '\x01');
  for (const char c : {'\xFC', '\xDF', 'e'}) rest += LittleEndian(static_cast<unsigned char>(c), 2);
  rest += LittleEndian(2, 2) + '\x0C' + LittleEndian(1, 2) + LittleEndian(6, 4) + "ab" + std::string(3, 'f');
  writer.GlobalRecord(0x003C, rest);
  writer.GlobalRecord(0x003C, "f" + std::string(6, 'p') + LittleEndian(2, 2) + std::string(1, '\0') + "zz");
  writer.Sheet("S");
  writer.Text(0, 0, "c");
  for (int i = 0; i < 3; ++i) {
    writer.Record(0x00FD, BiffWriter::CellHead(i + 1, 0) + LittleEndian(static_cast<std::uint64_t>(i), 4));
  }
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"c"}, Row{"Grüße"}, Row{"ab"}, Row{"zz"}));
}

TEST_F(Xls, ManySharedTextsAreFoundInAnyOrder) {
  BiffWriter writer;
  constexpr int kTexts = 100;
  std::string table = LittleEndian(kTexts, 4) + LittleEndian(kTexts, 4);
  for (int i = 0; i < kTexts; ++i) table += BiffWriter::WideText("t" + std::to_string(i));
  writer.GlobalRecord(0x00FC, table);
  writer.Sheet("S");
  writer.Text(0, 0, "c");
  for (int i = 0; i < kTexts; ++i) {
    writer.Record(0x00FD,
                  BiffWriter::CellHead(i + 1, 0) + LittleEndian(static_cast<std::uint64_t>(kTexts - 1 - i), 4));
  }
  const auto rows = TableRows(*Open(writer), "S");
  for (int i = 0; i < kTexts; ++i) {
    EXPECT_EQ(rows[static_cast<std::size_t>(i) + 1][0], "t" + std::to_string(kTexts - 1 - i));
  }
}

TEST_F(Xls, CharactersBeyondTheFirstPlane) {
  BiffWriter writer;
  writer.Sheet("S");
  writer.Text(0, 0, "c");
  writer.Text(1, 0, "a😀b");
  writer.Record(0x0204, BiffWriter::CellHead(2, 0) + LittleEndian(2, 2) + '\x01' + LittleEndian(0xD83D, 2) +
                            LittleEndian('x', 2));
  EXPECT_THAT(TableRows(*Open(writer), "S"), ElementsAre(Row{"c"}, Row{"a😀b"}, Row{"\uFFFDx"}));
}

TEST_F(Xls, Biff5TextsAreInTheWorkbooksCodePage) {
  BiffWriter writer(BiffWriter::kBiff5);
  writer.GlobalRecord(0x0042, LittleEndian(1250, 2));
  writer.Sheet("Tabelle1");
  writer.Text(0, 0, "c");
  writer.Text(1, 0, "\xB9\xFC");  // ąü in 1250
  writer.FormulaText(2, 0);
  writer.StringResult("\x9D");
  EXPECT_THAT(TableRows(*Open(writer), "Tabelle1$"), ElementsAre(Row{"c"}, Row{"ąü"}, Row{"ť"}));
}

TEST_F(Xls, ACompoundFileOfAnotherWriter) {
  const ConnectionPtr connection = OpenBook(FixturePath("kunden.xls"));
  EXPECT_THAT(TableNames(*connection), ElementsAre("Tabelle1$", "'Mit Blank$'", "Leer$"));
  const auto rows = TableRows(*connection, "Tabelle1$");
  ASSERT_THAT(rows, SizeIs(4));  // its writer stores no results of formulas
  EXPECT_THAT(rows[0], ElementsAre("KundenNr", "Name", "Geburtstag", "Umsatz", "Aktiv", "Doppelt"));
  EXPECT_THAT(rows[1], ElementsAre("1", "Müller", "20.07.1969", "1234,5", "Wahr", ""));
  EXPECT_THAT(rows[2], ElementsAre("2", "Öztürk € „Zitat“", "29.02.2004", "-0,25", "Falsch", ""));
  EXPECT_THAT(rows[3], ElementsAre("3", "Ђорђе", "<null>", "0", "Wahr", ""));
}

// --- Refusals ----------------------------------------------------------------------------------

TEST_F(Xls, EncryptedWorkbooksAreRefusedInWords) {
  BiffWriter writer;
  writer.GlobalRecord(0x002F, std::string(54, '\0'));
  AddSmallSheet(writer, "S");
  EXPECT_ERROR_TEXT(Open(writer), ErrorNumber::kDatabase, HasSubstr("verschlüsselt"));
  if (testing::TestDataFolder().empty()) return;
  for (const char* name : {"password.xls", "issue_385.xls"}) {
    EXPECT_ERROR_TEXT(OpenBook(testing::TestDataFolder() + "/xls/" + name), ErrorNumber::kDatabase,
                      HasSubstr("verschlüsselt"))
        << name;
  }
}

TEST_F(Xls, OtherFilesAreRefusedInWords) {
  const auto open = [&](const std::string& bytes) { return OpenBook(folder.Write("falsch.xls", bytes)); };
  EXPECT_ERROR_TEXT(open("<html><table></table></html>"), ErrorNumber::kDatabase, HasSubstr("HTML"));
  EXPECT_ERROR_TEXT(open(""), ErrorNumber::kDatabase, HasSubstr("falsch.xls"));
  EXPECT_ERROR_TEXT(open(std::string("\x09\x00\x04\x00\x02\x00\x10\x00", 8)), ErrorNumber::kDatabase,
                    HasSubstr("vor Excel 5.0"));
  EXPECT_ERROR_TEXT(OpenBook("/nirgendwo/k.xls"), ErrorNumber::kDatabase, HasSubstr("/nirgendwo/k.xls"));
}

TEST_F(Xls, ADamagedSheetLeavesTheOthersReadable) {
  BiffWriter writer;
  AddSmallSheet(writer, "Gut");
  writer.Sheet("Kaputt");
  writer.Text(0, 0, "A");
  writer.Record(0x00BD, LittleEndian(1, 2) + LittleEndian(5, 2) + LittleEndian(0, 2));  // columns turned round
  const ConnectionPtr connection = Open(writer);
  EXPECT_EQ(TableRows(*connection, "Gut").size(), 2U);
  EXPECT_ERROR_TEXT(connection->OpenRecordset("SELECT * FROM Kaputt"), ErrorNumber::kDatabase,
                    HasSubstr("beschädigt"));
}

TEST_F(Xls, ANumberOfATextThatDoesNotExistIsAnErrorOfItsCell) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  writer.Record(0x00FD, BiffWriter::CellHead(1, 1) + LittleEndian(4711, 4));
  const RecordsetPtr rows = Open(writer)->OpenRecordset("SELECT * FROM S");
  EXPECT_EQ(rows->TextAt(0), "1");
  EXPECT_ERROR(rows->TextAt(1), ErrorNumber::kDatabase);
}

}  // namespace kestrel
