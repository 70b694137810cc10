#include <gmock/gmock.h>

#include <filesystem>

#include "platform/base/byte_span.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/workbook_test_support.h"
#include "support/command_output.h"
#include "support/expect_error.h"
#include "support/xlsx_writer.h"
#include "support/zip_writer.h"

namespace kestrel {

using ::testing::AllOf;
using ::testing::ElementsAre;
using testing::FixturePath;
using ::testing::HasSubstr;
using testing::OpenBook;
using ::testing::Pair;
using testing::TableNames;
using testing::TableRows;

namespace {

using Row = std::vector<std::string>;

// The rows of a sheet "S" that consists of them, as XML, and why it is broken off.
std::pair<std::vector<Row>, std::string> ReadSheet(std::string_view rows) {
  testing::XlsxWriter writer;
  writer.Sheet("S");
  writer.Xml(rows);
  testing::TempFolder folder;
  return testing::RowsAndReason(
      *OpenBook(folder.Write("test.xlsx", writer.Bytes()))->OpenRecordset("SELECT * FROM S"));
}

}  // namespace

TEST(Xlsx, SheetsAndNamedRangesAreListed) {
  EXPECT_THAT(TableNames(*OpenBook(FixturePath("kunden.xlsx"))),
              ElementsAre("Tabelle1$", "'Mit Blank$'", "Kunden", "'Mit Blank$Orte'"));
}

TEST(Xlsx, EveryKindOfCell) {
  EXPECT_THAT(TableRows(*OpenBook(FixturePath("kunden.xlsx")), "Tabelle1$"),
              ElementsAre(Row{"Name", "Geburtstag", "F3", "Aktiv"}, Row{"Müller", "20.07.1969", "1,5", "Wahr"},
                          Row{"<null>", "<null>", "<null>", "<null>"},
                          Row{" zwei\r\nZeilen & <mehr> ", "20.07.1969 18:00:00", "1E+21", "<null>"},
                          Row{"-7", "29.02.2004 08:30:00", "<null>", "<null>"}));
}

TEST(Xlsx, RangesAreTables) {
  const ConnectionPtr connection = OpenBook(FixturePath("kunden.xlsx"));
  EXPECT_THAT(TableRows(*connection, "Kunden"),
              ElementsAre(Row{"Name", "Geburtstag"}, Row{"Müller", "20.07.1969"}, Row{"<null>", "<null>"}));
  EXPECT_THAT(TableRows(*connection, "'Mit Blank$Orte'"), ElementsAre(Row{"Ort"}, Row{"Köln"}));
  EXPECT_THAT(connection->ColumnNames("'Mit Blank$'"), ElementsAre("Ort"));
}

TEST(Xlsx, NamesMayHoldWhatXmlEscapes) {
  testing::XlsxWriter writer;
  for (const char* sheet : {"Müller & Söhne", "&amp;", "&#38;", "<a> \"b\""}) {
    writer.Sheet(sheet);
    const std::string text = sheet;
    writer.Row({&text});
  }
  writer.Name("Firmen", "'Müller & Söhne'!$A$1:$A$2");
  testing::TempFolder folder;
  const ConnectionPtr book = OpenBook(folder.Write("test.xlsx", writer.Bytes()));
  EXPECT_THAT(TableNames(*book),
              ElementsAre("'Müller & Söhne$'", "'&amp;$'", "'&#38;$'", "'<a> \"b\"$'", "Firmen"));
  EXPECT_THAT(TableRows(*book, "'Müller & Söhne$'"), ElementsAre(Row{"Müller & Söhne"}));
  EXPECT_THAT(TableRows(*book, "'&#38;$'"), ElementsAre(Row{"&#38;"}));
}

TEST(Xlsx, APartThatDefinesEntitiesIsRefused) {
  testing::ZipWriter archive;
  archive.Add("_rels/.rels", R"(<!DOCTYPE r [<!ENTITY a "b">]><r><Relationship Id="&a;" Type="&a;"/></r>)");
  testing::TempFolder folder;
  EXPECT_ERROR_TEXT(OpenBook(folder.Write("test.xlsx", archive.Bytes())), ErrorNumber::kDatabase,
                    HasSubstr("definiert eigene Zeichen"));
}

TEST(Xlsx, ARecordSetOutlivesItsConnection) {
  RecordsetPtr rows = OpenBook(FixturePath("kunden.xlsx"))->OpenRecordset("SELECT * FROM [Mit Blank$]");
  EXPECT_EQ(rows->TextAt(0), "Köln");
}

TEST(Xlsx, AnArchiveThatIsNoWorkbookIsRefused) {
  testing::TempFolder folder;
  const std::string book = testing::ReadBytes(FixturePath("kunden.xlsx"));
  const std::string other = ReplaceAll(book, "_rels/.rels", "_rels/.andr");
  EXPECT_ERROR_TEXT(OpenBook(folder.Write("a.xlsx", other)), ErrorNumber::kDatabase,
                    HasSubstr("keine Excel-Arbeitsmappe"));
  EXPECT_ERROR(OpenBook(folder.Write("b.xlsx", book.substr(0, book.size() - 30))), ErrorNumber::kDatabase);
}

TEST(Xlsx, APartThatIsMissingIsTold) {
  testing::TempFolder folder;
  const std::string book = testing::ReadBytes(FixturePath("kunden.xlsx"));
  // Where it is not told which parts the sheets are, and which of them is a chart, there are sheets all the same.
  const ConnectionPtr without_relations =
      OpenBook(folder.Write("a.xlsx", ReplaceAll(book, "xl/_rels/", "xl/_lost/")));
  EXPECT_THAT(TableNames(*without_relations),
              ElementsAre("Tabelle1$", "Diagramm$", "'Mit Blank$'", "Kunden", "'Mit Blank$Orte'"));
  EXPECT_ERROR_TEXT(without_relations->OpenRecordset("SELECT * FROM [Tabelle1$]"), ErrorNumber::kDatabase,
                    HasSubstr("ein Tabellenblatt fehlt"));
  // Without formats every day would be read as a number.
  EXPECT_ERROR_TEXT(OpenBook(folder.Write("b.xlsx", ReplaceAll(book, "xl/styles", "xl/stylus"))),
                    ErrorNumber::kDatabase, HasSubstr("die Formate der Zellen fehlen"));
}

// One content, saved in both formats by another program, reads the same.
TEST(Xlsx, BothFormatsOfAWorkbookReadTheSame) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the folder of public test files is absent";
  if (!testing::CommandOutput({"ssconvert", "--version"}))
    GTEST_SKIP() << "ssconvert (gnumeric) is not installed";
  testing::TempFolder folder;
  // Left out are biff5_write, of whose text "0.3" the other program makes a number, and date and date_1904, in
  // which it writes cells without their format where the whole column has it; such cells are plain numbers.
  for (const char* name : {"kunden500", "formeln", "blanks", "s5000", "sst_continue"}) {
    SCOPED_TRACE(name);
    const std::string old_path = testing::TestDataFolder() + "/xls/" + name + ".xls";
    const std::string new_path = folder.File(std::string(name) + ".xlsx");
    ASSERT_TRUE(testing::CommandOutput({"ssconvert", old_path, new_path}));
    const ConnectionPtr before = OpenBook(old_path);
    const ConnectionPtr after = OpenBook(new_path);
    ASSERT_EQ(TableNames(*before), TableNames(*after));
    for (const std::string& table : TableNames(*before)) {
      EXPECT_EQ(TableRows(*before, table), TableRows(*after, table)) << table;
    }
  }
}

// --- Protected, damaged and cut ----------------------------------------------------------------

TEST(Xlsx, WorkbooksThatAreOnlyProtectedOpenWithThePasswordEverybodyKnows) {
  const auto plain = TableRows(*OpenBook(FixturePath("kunden.xlsx")), "Tabelle1$");
  for (const char* name : {"kunden_agile.xlsx", "kunden_standard.xlsx"}) {
    EXPECT_EQ(TableRows(*OpenBook(FixturePath(name)), "Tabelle1$"), plain) << name;
  }
}

TEST(Xlsx, AnEmptyReferenceToASharedTextIsAnEmptyCell) {
  EXPECT_THAT(ReadSheet(R"(<row r="1"><c r="A1"><v>1</v></c><c r="B1"><v>2</v></c></row>
<row r="2"><c r="A2" t="s"><v></v></c><c r="B2" t="s"/></row><row r="3"><c r="A3"><v></v></c><c r="B3"><v>4</v></c></row>)"),
              Pair(ElementsAre(Row{"<null>", "<null>"}, Row{"<null>", "4"}), ""));
}

TEST(Xlsx, AnEmptyReferenceInAFileOfAnotherProgram) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const auto rows = TableRows(*OpenBook(testing::TestDataFolder() + "/xlsx/64508.xlsx"), "sheet1$");
  ASSERT_EQ(rows.size(), 5U);
  EXPECT_EQ(rows[1][4], "<null>");
}

TEST(Xlsx, AReferenceToATextThatDoesNotExistIsAnEmptyCellAndToldAtTheEnd) {
  EXPECT_THAT(ReadSheet(R"(<row r="1"><c r="A1"><v>1</v></c></row>
<row r="2"><c r="A2" t="s"><v>99</v></c><c r="B2"><v>2</v></c></row><row r="3"><c r="A3"><v>3</v></c></row>)"),
              Pair(ElementsAre(Row{"<null>", "2"}, Row{"3", "<null>"}),
                   AllOf(HasSubstr("\"S\""), HasSubstr("Zelle A2 fehlt"), HasSubstr("test.xlsx"))));
}

TEST(Xlsx, ARowIsNeverWiderThanASheetCanBe) {
  std::string cells;
  for (int i = 0; i < 16385; ++i) cells += "<c><v>1</v></c>";
  EXPECT_THAT(ReadSheet("<row><c><v>1</v></c></row><row><c><v>2</v></c></row><row>" + cells + "</row>"),
              Pair(ElementsAre(Row{"2"}), HasSubstr("zu viele Spalten")));
  EXPECT_THAT(ReadSheet(R"(<row r="1"><c r="A1"><v>1</v></c></row><row r="1048577"><c><v>2</v></c></row>)"),
              Pair(ElementsAre(), HasSubstr("Nummer einer Zeile")));
}

TEST(Xlsx, ASheetThatIsNoLongerXmlIsReadUpToThere) {
  std::string xml;
  constexpr std::size_t kRows = 200;
  for (std::size_t i = 0; i < kRows; ++i) xml += "<row><c><v>" + std::to_string(i) + "</v></c></row>";
  const auto [rows, reason] =
      ReadSheet(xml + R"(<row><c><v>1</v></c><c & ></row><row><c r="A4"><v>4</v></c></row>)");
  EXPECT_THAT(reason, AllOf(HasSubstr("\"S\""), HasSubstr("hinter Zeile " + std::to_string(rows.size() + 1))));
  // The parser looks some rows ahead.
  ASSERT_GT(rows.size(), kRows / 2);
  ASSERT_LT(rows.size(), kRows);
  for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i], Row{std::to_string(i + 1)});
}

// However an archive is cut within a sheet, whole rows from the beginning come, and the rest is told.
TEST(Xlsx, ASheetWhosePackedBytesEndEarlyIsReadUpToThere) {
  testing::XlsxWriter writer(testing::XlsxWriter::Texts::kInCells);
  writer.Sheet("S");
  std::vector<std::string> texts;
  for (int i = 0; i < 3000; ++i) texts.push_back("Text " + std::to_string(i * 7919 % 3001));
  for (const std::string& text : texts) writer.Row({&text, &text});
  const std::string whole = writer.Bytes();
  const std::string part = "xl/worksheets/sheet1.xml";
  const std::size_t head = whole.find(part) - 30;
  ASSERT_EQ(whole.substr(head, 4), "PK\x03\x04");
  const std::size_t packed = head + 30 + part.size();
  const std::size_t packed_size = ReadU32(BytesOf(whole), head + 18);
  for (std::size_t kept = packed_size / 9; kept < packed_size; kept += packed_size / 9) {
    std::string damaged = whole;
    damaged.replace(packed + kept, packed_size - kept, packed_size - kept, '\xFF');
    testing::TempFolder folder;
    const auto [rows, reason] =
        testing::RowsAndReason(*OpenBook(folder.Write("test.xlsx", damaged))->OpenRecordset("SELECT * FROM S"));
    EXPECT_THAT(reason, AllOf(HasSubstr("\"S\""), HasSubstr("bricht"))) << kept;
    ASSERT_LT(rows.size(), texts.size()) << kept;
    EXPECT_TRUE(kept < packed_size / 2 || !rows.empty()) << kept;
    for (std::size_t i = 0; i < rows.size(); ++i) ASSERT_EQ(rows[i], Row({texts[i + 1], texts[i + 1]})) << kept;
  }
}

// --- Made to burst -----------------------------------------------------------------------------

TEST(Xlsx, APartThatWouldUnpackToManyTimesItsSizeIsToldAtOnce) {
  testing::XlsxWriter writer;
  writer.Sheet("S");
  writer.Xml(std::string(70'000'000, ' '));
  testing::TempFolder folder;
  EXPECT_ERROR_TEXT(OpenBook(folder.Write("a.xlsx", writer.Bytes()))->OpenRecordset("SELECT * FROM S"),
                    ErrorNumber::kDatabase, AllOf(HasSubstr("würde entpackt 66 MB"), HasSubstr("a.xlsx")));
}

// A workbook of one sheet "S" and of these formats of cells.
std::string BookWithStyles(const std::string& sheet, const std::string& styles) {
  const auto relation = [](const std::string& id, const std::string& type, const std::string& part) {
    return "<Relationship Id='" + id + "' Type='x/" + type + "' Target='" + part + "'/>";
  };
  testing::ZipWriter archive;
  archive.Add("_rels/.rels", "<r>" + relation("a", "officeDocument", "book.xml") + "</r>");
  archive.Add("_rels/book.xml.rels",
              "<r>" + relation("a", "worksheet", "sheet.xml") + relation("b", "styles", "styles.xml") + "</r>");
  archive.Add("book.xml", "<workbook xmlns:r='r'><sheets><sheet name='S' r:id='a'/></sheets></workbook>");
  archive.Add("sheet.xml", sheet);
  archive.Add("styles.xml", styles);
  return archive.Bytes();
}

TEST(Xlsx, PartsThatWouldTogetherUnpackToManyTimesTheFilesSizeEndTheSheet) {
  const std::string sheet = "<worksheet><row><c><v>1</v></c></row><row><c><v>2</v></c></row>" +
                            std::string(40'000'000, ' ') + "</worksheet>";
  testing::TempFolder folder;
  const auto read = [&](const std::string& styles) {
    const std::string path = folder.Write("a.xlsx", BookWithStyles(sheet, styles));
    return testing::RowsAndReason(*OpenBook(path)->OpenRecordset("SELECT * FROM S"));
  };
  EXPECT_THAT(read("<styleSheet><cellXfs/></styleSheet>"), Pair(ElementsAre(Row{"2"}), ""));
  // The formats, which are read first, take as much.
  EXPECT_THAT(read("<styleSheet>" + std::string(40'000'000, ' ') + "<cellXfs/></styleSheet>"),
              Pair(ElementsAre(Row{"2"}), HasSubstr("zusammen entpackt")));
}

TEST(Xlsx, BehindTheFormatsOfCellsTheStylesAreNotRead) {
  const std::string bytes =
      BookWithStyles("<worksheet><row><c><v>1</v></c></row><row><c s='1'><v>60.5</v></c></row></worksheet>",
                     "<styleSheet><cellXfs><xf/><xf numFmtId='22'/></cellXfs><no longer XML");
  testing::TempFolder folder;
  EXPECT_THAT(TableRows(*OpenBook(folder.Write("a.xlsx", bytes)), "S$"),
              ElementsAre(Row{"1"}, Row{"28.02.1900 12:00:00"}));
}

TEST(Xlsx, ATagWithTooManyAttributesEndsTheSheet) {
  std::string attributes;
  for (int i = 0; i < 129; ++i) attributes += " a" + std::to_string(i) + "='>\"'";
  EXPECT_THAT(ReadSheet("<row><c><v>1</v></c></row><row" + attributes + "><c><v>2</v></c></row>").second,
              HasSubstr("zu viele Attribute"));
  // What stands in comments and texts does not count.
  std::string quotes(300, '"');
  EXPECT_THAT(ReadSheet("<!-- it's " + quotes + " --><row><c t='str'><v>x</v></c></row><row><c t='str'><v>" +
                        quotes + "</v></c></row>"),
              Pair(ElementsAre(Row{quotes}), ""));
}

TEST(Xlsx, ElementsWithinElementsWithoutEndEndTheSheet) {
  std::string rows = "<row><c><v>1</v></c></row><row><c><v>2</v></c></row>";
  for (int i = 0; i < 300; ++i) rows += "<row>";
  EXPECT_THAT(ReadSheet(rows), Pair(ElementsAre(Row{"2"}), HasSubstr("zu tief")));
}

TEST(Xlsx, ATextOfMoreThanAMegabyteIsNoText) {
  EXPECT_THAT(ReadSheet("<row><c><v>1</v></c></row><row><c t='inlineStr'><is><t>" +
                        std::string(1'100'000, 'x') + "</t></is></c></row>")
                  .second,
              HasSubstr("länger als 1 MB"));
}

TEST(Xlsx, OtherDocumentsAreToldByName) {
  testing::TempFolder folder;
  const auto open = [&](const std::string& part, const std::string& content) {
    testing::ZipWriter archive;
    archive.AddStored(part, content);
    return OpenBook(folder.Write("a.xlsx", archive.Bytes()));
  };
  EXPECT_ERROR_TEXT(open("mimetype", "application/vnd.oasis.opendocument.spreadsheet"), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("OpenDocument-Tabellendokument (.ods)"), HasSubstr("gespeichert werden")));
  EXPECT_ERROR_TEXT(open("word/document.xml", "<w/>"), ErrorNumber::kDatabase,
                    HasSubstr("Word-Dokument (.docx)"));
  EXPECT_ERROR_TEXT(open("ppt/presentation.xml", "<p/>"), ErrorNumber::kDatabase, HasSubstr("PowerPoint"));
  EXPECT_ERROR_TEXT(open("brief.txt", "Hallo"), ErrorNumber::kDatabase, HasSubstr("ZIP-Archiv"));
}

}  // namespace kestrel
