#include <gmock/gmock.h>

#include "platform/base/text.h"
#include "platform/data/workbook_test_support.h"
#include "support/dbf_writer.h"
#include "support/expect_error.h"

namespace kestrel {

using ::testing::AllOf;
using testing::BiffWriter;
using ::testing::ElementsAre;
using testing::FixturePath;
using ::testing::HasSubstr;
using testing::LittleEndian;
using testing::OpenBook;
using ::testing::Pair;
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

  std::pair<std::vector<Row>, std::string> ReadBroken(const std::string& bytes, const std::string& sheet) {
    const ConnectionPtr connection = OpenBook(folder.Write("test.xls", bytes));
    return testing::RowsAndReason(*connection->OpenRecordset("SELECT * FROM " + sheet));
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

TEST_F(Xls, AListedNameThatLostItsOuterApostrophesOpensItsSheet) {
  BiffWriter writer;
  for (const char* name : {"O'Neill", "It's 'so'", "Vorn''doppelt", "Vorn'doppelt"}) {
    writer.Sheet(name);
    writer.Text(0, 0, name);
  }
  const ConnectionPtr connection = Open(writer);
  EXPECT_EQ(connection->ColumnNames("O''Neill$"), Row{"O'Neill"});
  EXPECT_EQ(connection->ColumnNames("O'Neill$"), Row{"O'Neill"});
  EXPECT_EQ(connection->ColumnNames("O''Neill$A1:A1"), Row{"O'Neill"});
  EXPECT_EQ(connection->ColumnNames("It''s ''so''$"), Row{"It's 'so'"});
  EXPECT_EQ(connection->ColumnNames("It's 'so'"), Row{"It's 'so'"});
  // An exact name comes first.
  EXPECT_EQ(connection->ColumnNames("Vorn''doppelt$"), Row{"Vorn''doppelt"});
  EXPECT_EQ(connection->ColumnNames("'Vorn''doppelt$'"), Row{"Vorn'doppelt"});
  EXPECT_EQ(TableRows(*connection, "'O''Neill$'")[0], Row{"O'Neill"});
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

TEST_F(Xls, WorkbooksWithAPasswordAreRefusedInWords) {
  EXPECT_ERROR_TEXT(OpenBook(FixturePath("kunden_kennwort.xlsx")), ErrorNumber::kDatabase,
                    HasSubstr("mit einem Kennwort verschlüsselt"));
  BiffWriter writer;
  writer.GlobalRecord(0x002F, LittleEndian(0, 2) + LittleEndian(0x1234, 2) + LittleEndian(0x5678, 2));
  AddSmallSheet(writer, "S");
  EXPECT_ERROR_TEXT(Open(writer), ErrorNumber::kDatabase, HasSubstr("mit einem Kennwort verschlüsselt"));
  if (testing::TestDataFolder().empty()) return;
  EXPECT_ERROR_TEXT(OpenBook(testing::TestDataFolder() + "/xls/password.xls"), ErrorNumber::kDatabase,
                    HasSubstr("mit einem Kennwort verschlüsselt"));
}

TEST_F(Xls, WorkbooksThatAreOnlyProtectedOpenWithThePasswordEverybodyKnows) {
  const auto plain = TableRows(*OpenBook(FixturePath("kunden.xls")), "Tabelle1$");
  for (const char* name : {"kunden_xor.xls", "kunden_rc4.xls", "kunden_cryptoapi.xls"}) {
    EXPECT_EQ(TableRows(*OpenBook(FixturePath(name)), "Tabelle1$"), plain) << name;
    EXPECT_THAT(TableRows(*OpenBook(FixturePath(name)), "Mit Blank"), ElementsAre(Row{"Ort"}, Row{"Köln"}))
        << name;
  }
}

TEST_F(Xls, AProtectedWorkbookOfAnotherProgram) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the folder of public test files is absent";
  EXPECT_THAT(TableRows(*OpenBook(testing::TestDataFolder() + "/xls/50833.xls"), "Sheet1$"),
              ElementsAre(Row{"test cell value"}));
}

TEST_F(Xls, OtherFilesAreRefusedInWords) {
  const auto open = [&](const std::string& bytes) { return OpenBook(folder.Write("falsch.xls", bytes)); };
  EXPECT_ERROR_TEXT(open("<html><table></table></html>"), ErrorNumber::kDatabase, HasSubstr("HTML"));
  EXPECT_ERROR_TEXT(open(""), ErrorNumber::kDatabase, HasSubstr("falsch.xls"));
  EXPECT_ERROR_TEXT(open(std::string("\x09\x00\x04\x00\x02\x00\x10\x00", 8)), ErrorNumber::kDatabase,
                    HasSubstr("vor Excel 5.0"));
  EXPECT_ERROR_TEXT(OpenBook("/nirgendwo/k.xls"), ErrorNumber::kDatabase, HasSubstr("/nirgendwo/k.xls"));
}

// --- Damage ------------------------------------------------------------------------------------

TEST_F(Xls, ADamagedSheetLeavesTheOthersReadable) {
  BiffWriter writer;
  AddSmallSheet(writer, "Gut");
  writer.Sheet("Kaputt");
  std::string bytes = writer.Bytes();
  bytes.resize(bytes.size() - 24);  // the second sheet's beginning and end
  const ConnectionPtr connection = OpenBook(folder.Write("kaputt.xls", bytes));
  EXPECT_EQ(TableRows(*connection, "Gut").size(), 2U);
  EXPECT_ERROR_TEXT(connection->OpenRecordset("SELECT * FROM Kaputt"), ErrorNumber::kDatabase,
                    HasSubstr("Tabellenblatt fehlt"));
}

TEST_F(Xls, ACellThatCannotBeReadIsEmptyAndToldAtTheEnd) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  writer.Number(1, 1, 2);
  writer.Record(0x00FD, BiffWriter::CellHead(1, 2) + LittleEndian(4711, 4));  // a text that does not exist
  writer.Record(0x0203, BiffWriter::CellHead(1, 3) + "kurz");
  writer.Number(1, 300, 5);  // beyond the last column
  writer.Number(2, 0, 3);
  EXPECT_THAT(
      ReadBroken(writer.Bytes(), "S"),
      Pair(ElementsAre(Row{"1", "2"}, Row{"3", "<null>"}),
           AllOf(HasSubstr("\"S\""), HasSubstr("3 Zellen fehlt, zuerst der von C2"), HasSubstr("test.xls"))));
}

TEST_F(Xls, ASheetThatIsCutIsReadAndBrokenOff) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  for (int row = 2; row < 5; ++row) writer.Number(row, 0, row);
  std::string bytes = writer.Bytes();
  bytes.resize(bytes.size() - 4);
  // Nobody can tell whether the last row has lost cells.
  EXPECT_THAT(ReadBroken(bytes, "S"),
              Pair(ElementsAre(Row{"1"}, Row{"2"}, Row{"3"}),
                   AllOf(HasSubstr("\"S\""), HasSubstr("hinter Zeile 4"), HasSubstr("test.xls"))));
  // Within the last row's only cell: the one before has ended.
  bytes.pop_back();
  EXPECT_THAT(ReadBroken(bytes, "S"),
              Pair(ElementsAre(Row{"1"}, Row{"2"}, Row{"3"}), HasSubstr("hinter Zeile 4")));
}

// The directory tells that no byte of the stream is missing, so that all rows are there.
TEST_F(Xls, ASheetThatWasWrittenWithoutItsEndHasAllItsRows) {
  std::string bytes = testing::ReadBytes(FixturePath("kunden.xls"));
  const auto whole = TableRows(*OpenBook(FixturePath("kunden.xls")), "Mit Blank");
  const std::string end("\x0A\0\0\0", 4);
  const std::string next("\x09\x08\x10\0", 4);
  const std::size_t last_end = bytes.rfind(end + next);
  ASSERT_NE(last_end, std::string::npos);
  bytes[last_end + 1] = '\x0F';
  const auto [rows, reason] = testing::RowsAndReason(
      *OpenBook(folder.Write("test.xls", bytes))->OpenRecordset("SELECT * FROM [Mit Blank$]"));
  EXPECT_EQ(rows, std::vector<Row>(whole.begin() + 1, whole.end()));
  EXPECT_THAT(reason, HasSubstr("hinter Zeile 2"));
}

TEST_F(Xls, ANamedRangeBeforeTheCutIsWhole) {
  BiffWriter writer;
  writer.Name("Oben", 0, 0, 0, 1, 0);
  AddSmallSheet(writer, "S");
  for (int row = 2; row < 5; ++row) writer.Number(row, 0, row);
  std::string bytes = writer.Bytes();
  bytes.resize(bytes.size() - 5);
  const ConnectionPtr connection = OpenBook(folder.Write("test.xls", bytes));
  EXPECT_EQ(TableRows(*connection, "Oben").size(), 2U);  // reading to its end raises nothing
}

TEST_F(Xls, TheCountOfTheSharedTextsMayBeWrong) {
  for (const int told : {0, 1, 2, 200}) {
    BiffWriter writer;
    writer.GlobalRecord(0x00FC, LittleEndian(2, 4) + LittleEndian(static_cast<std::uint64_t>(told), 4) +
                                    BiffWriter::WideText("eins") + BiffWriter::WideText("zwei"));
    AddSmallSheet(writer, "S");
    writer.Record(0x00FD, BiffWriter::CellHead(1, 0) + LittleEndian(1, 4));
    EXPECT_THAT(TableRows(*Open(writer), "S").back(), ElementsAre("zwei")) << told;
  }
}

TEST_F(Xls, ASharedTextThatIsCutIsLost) {
  BiffWriter writer;
  writer.GlobalRecord(0x00FC, LittleEndian(2, 4) + LittleEndian(2, 4) + BiffWriter::WideText("eins") +
                                  BiffWriter::WideText("zwei").substr(0, 7));
  AddSmallSheet(writer, "S");
  writer.Record(0x00FD, BiffWriter::CellHead(1, 1) + LittleEndian(0, 4));
  writer.Record(0x00FD, BiffWriter::CellHead(1, 2) + LittleEndian(1, 4));
  EXPECT_THAT(ReadBroken(writer.Bytes(), "S"),
              Pair(ElementsAre(Row{"1", "eins"}), HasSubstr("Zelle C2 fehlt")));
}

TEST_F(Xls, AFormatThatIsCutCountsAsFarAsItGoes) {
  BiffWriter writer;
  writer.GlobalRecord(0x041E, LittleEndian(164, 2) + LittleEndian(10, 2) + std::string(1, '\0') + "dd.mm");
  writer.GlobalRecord(0x041E, LittleEndian(165, 1));
  writer.ExtendedFormat(164);
  AddSmallSheet(writer, "S");
  EXPECT_THAT(TableRows(*Open(writer), "S").back(), ElementsAre("01.01.1900"));
}

TEST_F(Xls, FormulasOfOlderVersions) {
  BiffWriter writer;
  AddSmallSheet(writer, "S");
  int row = 2;
  for (const std::uint16_t type : {std::uint16_t{0x0206}, std::uint16_t{0x0406}}) {
    const std::string number = LittleEndian(std::bit_cast<std::uint64_t>(2.5), 8);
    const std::string is_text = std::string(6, '\0') + "\xFF\xFF";
    const std::string rest = LittleEndian(0, 2) + LittleEndian(0, 4) + LittleEndian(0, 2);
    writer.Record(type, BiffWriter::CellHead(row, 0) + number + rest);
    writer.Record(type, BiffWriter::CellHead(row, 1) + is_text + rest);
    writer.StringResult("Größe");
    ++row;
  }
  EXPECT_THAT(TableRows(*Open(writer), "S"),
              ElementsAre(::testing::_, Row{"1", "<null>"}, Row{"2,5", "Größe"}, Row{"2,5", "Größe"}));
}

}  // namespace kestrel
