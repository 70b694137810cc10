#include <gmock/gmock.h>

#include <filesystem>

#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/workbook_test_support.h"
#include "support/command_output.h"
#include "support/expect_error.h"

namespace kestrel {

using ::testing::ElementsAre;
using testing::FixturePath;
using ::testing::HasSubstr;
using testing::OpenBook;
using testing::TableNames;
using testing::TableRows;

namespace {

using Row = std::vector<std::string>;

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

}  // namespace kestrel
