#include <gmock/gmock.h>

#include <bit>
#include <cstdlib>
#include <utility>

#include "kestrel/open_connection.h"
#include "support/dbf_writer.h"
#include "support/expect_error.h"
#include "support/project_paths.h"
#include "support/recordset_reading.h"
#include "support/temp_folder.h"

namespace kestrel {

using ::testing::AllOf;
using testing::BigEndian;
using testing::DbfColumn;
using testing::DbfWriter;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::LittleEndian;
using testing::TempFolder;

namespace {

ConnectionPtr OpenFolder(const std::string& folder, const std::string& more = "") {
  return OpenConnection("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder + "; DriverID=277" + more);
}

std::vector<std::string> Texts(const Recordset& rows) {
  std::vector<std::string> texts;
  for (std::size_t column = 0; column < rows.ColumnCount(); ++column) texts.emplace_back(rows.TextAt(column));
  return texts;
}

class Dbf : public ::testing::Test {
 protected:
  RecordsetPtr Open(const DbfWriter& writer, const std::string& more = "") {
    folder.Write("KUNDEN.DBF", writer.Bytes());
    return OpenFolder(folder.path(), more)->OpenRecordset("SELECT * From KUNDEN.DBF");
  }
  // The text of the one field of the one record.
  std::string TextOf(DbfColumn column, const std::string& stored, std::uint8_t version = DbfWriter::kDbase3) {
    DbfWriter writer({std::move(column)}, version);
    writer.Add({stored});
    const RecordsetPtr rows = Open(writer);
    return rows->IsNull(0) ? "null" : std::string(rows->TextAt(0));
  }

  TempFolder folder;
};

class DbfFixtures : public ::testing::Test {
 protected:
  const ConnectionPtr connection = OpenFolder(testing::InSourceTree("tests/platform/data/fixtures"));
};

}  // namespace

// --- Names -------------------------------------------------------------------------------------

TEST_F(Dbf, ATableIsFoundWithAndWithoutItsExtensionInAnyCase) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"Meier"});
  folder.Write("Kunden.dbf", writer.Bytes());
  const ConnectionPtr connection = OpenFolder(folder.path());
  for (const char* name : {"KUNDEN.DBF", "KUNDEN", "kunden.Dbf", "`Kunden`", "[kunden.dbf]", "\"KUNDEN\""}) {
    EXPECT_EQ(connection->OpenRecordset(std::string("SELECT * From ") + name)->TextAt(0), "Meier") << name;
  }
}

TEST_F(Dbf, OfTwoNamesThatDifferInCaseTheExactOneIsTaken) {
  DbfWriter upper({{"NAME"}});
  upper.Add({"gross"});
  DbfWriter lower({{"NAME"}});
  lower.Add({"klein"});
  folder.Write("KUNDEN.dbf", upper.Bytes());
  folder.Write("kunden.dbf", lower.Bytes());
  const ConnectionPtr connection = OpenFolder(folder.path());
  EXPECT_EQ(connection->OpenRecordset("SELECT * From kunden.dbf")->TextAt(0), "klein");
  EXPECT_EQ(connection->OpenRecordset("SELECT * From KUNDEN")->TextAt(0), "gross");
}

TEST_F(Dbf, TheCatalogListsTablesWithoutTheirExtension) {
  folder.Write("b.DBF", DbfWriter({{"X"}}).Bytes());
  folder.Write("A.dbf", DbfWriter({{"X"}}).Bytes());
  folder.Write("A.dbt", "no table");
  std::vector<std::string> names;
  for (const CatalogTable& table : OpenFolder(folder.path())->Tables()) names.push_back(table.name);
  EXPECT_THAT(names, ElementsAre("A", "b"));
}

TEST_F(Dbf, ThePathOfOneFileStandsForItsFolder) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"Meier"});
  const std::string path = folder.Write("kunden.dbf", writer.Bytes());
  EXPECT_EQ(OpenFolder(path)->OpenRecordset("SELECT * From kunden.dbf")->TextAt(0), "Meier");
}

TEST_F(Dbf, MissingFoldersAndTablesAreToldByName) {
  EXPECT_ERROR_TEXT(OpenFolder("/nirgendwo"), ErrorNumber::kDatabase, HasSubstr("/nirgendwo"));
  EXPECT_ERROR_TEXT(OpenFolder(folder.path())->OpenRecordset("SELECT * From Orte"), ErrorNumber::kDatabase,
                    HasSubstr("\"Orte\""));
}

TEST_F(Dbf, ANameCannotLeadOutOfTheFolder) {
  folder.Write("geheim.dbf", DbfWriter({{"X"}}).Bytes());
  TempFolder other;
  EXPECT_ERROR(OpenFolder(other.path())->OpenRecordset("SELECT * From `" + folder.path() + "/geheim`"),
               ErrorNumber::kDatabase);
}

TEST_F(Dbf, WritingIsRefused) {
  EXPECT_ERROR(OpenFolder(folder.path())->Execute("DELETE FROM KUNDEN"), ErrorNumber::kDatabase);
  EXPECT_ERROR(OpenFolder(folder.path())->Prepare("SELECT 1"), ErrorNumber::kMemberNotFound);
}

// --- Values ------------------------------------------------------------------------------------

TEST_F(Dbf, TextsLoseOnlyTheBlanksThatFillTheColumn) {
  EXPECT_EQ(TextOf({"T", 'C', 12}, " Meier"), " Meier");
  EXPECT_EQ(TextOf({"T", 'C', 12}, ""), "");
  EXPECT_EQ(TextOf({"T", 'C', 12}, std::string("Meier\0\0", 7)), "Meier");
}

TEST_F(Dbf, NumbersAreDigitsWithACommaWithoutTrailingZeros) {
  EXPECT_EQ(TextOf({"N", 'N', 10, 2}, "1234.50"), "1234,5");
  EXPECT_EQ(TextOf({"N", 'N', 10, 2}, "-0.25"), "-0,25");
  EXPECT_EQ(TextOf({"N", 'N', 10, 2}, "100.00"), "100");
  EXPECT_EQ(TextOf({"N", 'N', 10, 2}, ".5"), "0,5");
  EXPECT_EQ(TextOf({"N", 'N', 10}, "42"), "42");
  EXPECT_EQ(TextOf({"N", 'N', 19}, "1234567890123456789"), "1234567890123456789");
  EXPECT_EQ(TextOf({"F", 'F', 20, 18}, "1.234567890123460000"), "1,23456789012346");
  EXPECT_EQ(TextOf({"F", 'F', 20}, "1.5E+03"), "1500");
  EXPECT_EQ(TextOf({"N", 'N', 10}, ""), "null");
}

TEST_F(Dbf, ANegativeZeroIsZero) {
  EXPECT_EQ(TextOf({"N", 'N', 10, 2}, "-0.00"), "0");
  EXPECT_EQ(TextOf({"N", 'N', 10}, "-0"), "0");
}

TEST_F(Dbf, ANumberThatIsNoneStaysAsItIsStored) {
  EXPECT_EQ(TextOf({"N", 'N', 5}, "*****"), "*****");
  EXPECT_EQ(TextOf({"N", 'N', 5}, "1.2.3"), "1.2.3");
  EXPECT_EQ(TextOf({"N", 'N', 5}, "1 2"), "1 2");
  EXPECT_EQ(TextOf({"N", 'N', 5}, "."), ".");
  EXPECT_EQ(TextOf({"N", 'N', 8}, "5 \xFC"), "5 ü");
}

TEST_F(Dbf, DatesAreGermanAndImpossibleOnesStayAsStored) {
  EXPECT_EQ(TextOf({"D", 'D', 8}, "19690720"), "20.07.1969");
  EXPECT_EQ(TextOf({"D", 'D', 8}, ""), "null");
  EXPECT_EQ(TextOf({"D", 'D', 8}, "00000000"), "null");
  EXPECT_EQ(TextOf({"D", 'D', 8}, "20230230"), "20230230");
}

TEST_F(Dbf, TruthValues) {
  for (const char* stored : {"T", "t", "Y", "y", "J"}) EXPECT_EQ(TextOf({"L", 'L', 1}, stored), "Wahr");
  for (const char* stored : {"F", "f", "N", "n"}) EXPECT_EQ(TextOf({"L", 'L', 1}, stored), "Falsch");
  for (const char* stored : {"?", " "}) EXPECT_EQ(TextOf({"L", 'L', 1}, stored), "null");
}

TEST_F(Dbf, BinaryValuesOfVisualFoxPro) {
  constexpr std::uint8_t kVfp = DbfWriter::kVisualFoxPro;
  EXPECT_EQ(TextOf({"I", 'I', 4}, LittleEndian(0xFFFFFFF9, 4), kVfp), "-7");
  EXPECT_EQ(TextOf({"Y", 'Y', 8}, LittleEndian(123400, 8), kVfp), "12,34");
  EXPECT_EQ(TextOf({"Y", 'Y', 8}, LittleEndian(~std::uint64_t{0}, 8), kVfp), "-0,0001");
  EXPECT_EQ(TextOf({"Y", 'Y', 8}, LittleEndian(std::uint64_t{1} << 63, 8), kVfp), "-922337203685477,5808");
  EXPECT_EQ(TextOf({"B", 'B', 8}, LittleEndian(0x4004000000000000, 8), kVfp), "2,5");
  EXPECT_EQ(TextOf({"T", 'T', 8}, LittleEndian(2440588, 4) + LittleEndian(30'615'000, 4), kVfp),
            "01.01.1970 08:30:15");
  EXPECT_EQ(TextOf({"T", 'T', 8}, LittleEndian(2440588, 4) + LittleEndian(0, 4), kVfp), "01.01.1970");
  EXPECT_EQ(TextOf({"T", 'T', 8}, std::string(8, '\0'), kVfp), "null");
}

TEST_F(Dbf, NumbersOfLevel7SortByTheirBytes) {
  EXPECT_EQ(TextOf({"ID", '+', 4}, BigEndian(0x80000007, 4), DbfWriter::kDbase7), "7");
  EXPECT_EQ(TextOf({"N", 'I', 4}, BigEndian(0x7FFFFFFF, 4), DbfWriter::kDbase7), "-1");
}

TEST_F(Dbf, DoublesOfLevel7SortByTheirBytes) {
  constexpr std::uint8_t kLevel7 = DbfWriter::kDbase7;
  const auto sorting = [](double number) {
    const auto bits = std::bit_cast<std::uint64_t>(number);
    return BigEndian(number < 0 ? ~bits : bits | std::uint64_t{1} << 63, 8);
  };
  EXPECT_EQ(TextOf({"O", 'O', 8}, sorting(1234.5), kLevel7), "1234,5");
  EXPECT_EQ(TextOf({"O", 'O', 8}, sorting(-0.25), kLevel7), "-0,25");
  EXPECT_EQ(TextOf({"O", 'O', 8}, sorting(0), kLevel7), "0");
  EXPECT_EQ(TextOf({"O", 'O', 8}, std::string(8, '\0'), kLevel7), "null");
  EXPECT_EQ(TextOf({"ID", '+', 4}, std::string(4, '\0'), kLevel7), "null");
  // In tables of another level the lowest byte comes first.
  EXPECT_EQ(TextOf({"O", 'O', 8}, LittleEndian(std::bit_cast<std::uint64_t>(-2.5), 8)), "-2,5");
}

TEST_F(Dbf, TimestampsOfLevel7) {
  constexpr std::uint8_t kLevel7 = DbfWriter::kDbase7;
  const double milliseconds = 718998.0 * 86'400'000 + 73'060'000;  // the first day of the year 1 is day 1
  const auto bits = std::bit_cast<std::uint64_t>(milliseconds);
  EXPECT_EQ(TextOf({"T", '@', 8}, BigEndian(bits, 8), kLevel7), "20.07.1969 20:17:40");
  EXPECT_EQ(TextOf({"T", '@', 8}, BigEndian(bits | std::uint64_t{1} << 63, 8), kLevel7), "20.07.1969 20:17:40");
  const std::string julian = LittleEndian(2440423, 4) + LittleEndian(73'060'000, 4);
  EXPECT_EQ(TextOf({"T", '@', 8}, julian, kLevel7), "20.07.1969 20:17:40");
  EXPECT_EQ(TextOf({"T", '@', 8}, julian), "20.07.1969 20:17:40");
  EXPECT_EQ(TextOf({"T", '@', 8}, std::string(8, '\0'), kLevel7), "null");
  EXPECT_ERROR_TEXT(TextOf({"WANN", '@', 8}, "ABCDEFGH", kLevel7), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("Satz 1, Feld WANN"), HasSubstr("Zeitstempel"), HasSubstr("KUNDEN.DBF")));
}

TEST_F(Dbf, AColumnOfAnUnknownTypeIsToldByName) {
  EXPECT_ERROR_TEXT(TextOf({"SELTSAM", 'X', 4}, "abcd"), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("Satz 1, Feld SELTSAM"), HasSubstr("\"X\"")));
}

TEST_F(Dbf, TablesThatOnlyTheirMarkPutsOnLevel7) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"Meier"});
  folder.Write("t.dbf", std::string(writer.Bytes()).replace(0, 1, "\x04"));
  EXPECT_EQ(OpenFolder(folder.path())->OpenRecordset("SELECT * From t")->TextAt(0), "Meier");
}

TEST_F(Dbf, TablesOfDbase2AreToldByName) {
  folder.Write("alt.dbf", std::string("\x02\x01\x00", 3) + std::string(600, ' '));
  EXPECT_ERROR_TEXT(OpenFolder(folder.path())->OpenRecordset("SELECT * From alt"), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("dBase II;"), HasSubstr("dBase III"), HasSubstr("alt.dbf")));
}

TEST_F(Dbf, ColumnNamesOfLevel7AreLonger) {
  DbfWriter writer({{"EinSpaltennameMitVielenZeichen", 'C', 5}}, DbfWriter::kDbase7);
  writer.Add({"x"});
  EXPECT_EQ(Open(writer)->ColumnName(0), "EinSpaltennameMitVielenZeichen");
}

TEST_F(Dbf, TextsLongerThanAByteCanCount) {
  DbfWriter writer({{"T", 'C', 44, 1}});  // 300 = 256 + 44
  std::string bytes = writer.Bytes();
  bytes.replace(4, 4, LittleEndian(1, 4));
  bytes.replace(10, 2, LittleEndian(301, 2));
  bytes.pop_back();
  bytes += " " + std::string(300, 'x');
  folder.Write("lang.dbf", bytes);
  EXPECT_EQ(OpenFolder(folder.path())->OpenRecordset("SELECT * From lang")->TextAt(0), std::string(300, 'x'));
}

TEST_F(Dbf, NullFlagsOfVisualFoxPro) {
  DbfWriter writer({{"A", 'C', 5, 0, 2}, {"B", 'I', 4, 0, 2}, {"C", 'C', 5}, {"_NullFlags", '0', 1, 0, 1}},
                   DbfWriter::kVisualFoxPro);
  writer.Add({"x", LittleEndian(1, 4), "y", std::string(1, '\x02')});
  writer.Add({"x", LittleEndian(1, 4), "y", std::string(1, '\x01')});
  const RecordsetPtr rows = Open(writer);
  ASSERT_EQ(rows->ColumnCount(), 3U);
  EXPECT_FALSE(rows->IsNull(0));
  EXPECT_TRUE(rows->IsNull(1));
  EXPECT_THAT(Texts(*rows), ElementsAre("x", "", "y"));
  rows->MoveNext();
  EXPECT_TRUE(rows->IsNull(0));
  EXPECT_THAT(Texts(*rows), ElementsAre("", "1", "y"));
}

TEST_F(DbfFixtures, EveryTypeOfAVisualFoxProTable) {
  const RecordsetPtr rows = connection->OpenRecordset("SELECT * From FOXPRO.DBF");
  EXPECT_EQ(rows->RecordCount(), 2);
  EXPECT_THAT(Texts(*rows), ElementsAre("Müller", "1234,5", "0,25", "20.07.1969", "Wahr",
                                        "Grüße\r\nzweite Zeile", "-7", "12,34", "2,5", "29.02.2004 08:30:15"));
  rows->MoveNext();
  EXPECT_THAT(Texts(*rows),
              ElementsAre("Öztürk", "", "", "", "", "", "2147483646", "-0,05", "-1E+300", "31.12.1999"));
  EXPECT_TRUE(rows->IsNull(1));
  EXPECT_TRUE(rows->IsNull(3));
  EXPECT_TRUE(rows->IsNull(4));
}

// --- Memos -------------------------------------------------------------------------------------

TEST_F(Dbf, MemosOfDbase3EndAtTheirMark) {
  DbfWriter writer({{"M", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"1"});
  writer.Add({""});
  std::string memo(512, '\0');
  memo +=
      "Gr\xFC\xDF"
      "e\r\nzwei\x1A\x1Arest";
  folder.Write("KUNDEN.DBT", memo);
  const RecordsetPtr rows = Open(writer);
  EXPECT_EQ(rows->TextAt(0), "Grüße\r\nzwei");
  rows->MoveNext();
  EXPECT_TRUE(rows->IsNull(0));
}

TEST_F(Dbf, MemosOfDbase4TellTheirLength) {
  DbfWriter writer({{"M", 'M', 10}}, DbfWriter::kDbase4WithMemo);
  writer.Add({"1"});
  std::string memo(20, '\0');
  memo += LittleEndian(1024, 2);
  memo.resize(1024);
  memo += std::string("\xFF\xFF\x08\x00", 4) + LittleEndian(8 + 5, 4) + "Meieraus einem alten Text";
  folder.Write("kunden.dbt", memo);
  EXPECT_EQ(Open(writer)->TextAt(0), "Meier");
}

TEST_F(Dbf, AMemoOutsideItsFileIsAnErrorAndNothingElse) {
  DbfWriter writer({{"NAME"}, {"M", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"Meier", "4711"});
  folder.Write("KUNDEN.dbt", std::string(600, ' '));
  const RecordsetPtr rows = Open(writer);
  EXPECT_EQ(rows->TextAt(0), "Meier");
  EXPECT_ERROR_TEXT(
      rows->TextAt(1), ErrorNumber::kDatabase,
      AllOf(HasSubstr("Satz 1, Feld M: "), HasSubstr("außerhalb der Memodatei"), HasSubstr("KUNDEN.dbt")));
}

TEST_F(Dbf, AMemoReferenceThatIsNoNumberIsTold) {
  DbfWriter writer({{"M", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"gelöscht"}, true);
  writer.Add({"kaputt"});
  folder.Write("KUNDEN.dbt", std::string(600, ' '));
  const RecordsetPtr rows = Open(writer);
  EXPECT_FALSE(rows->IsNull(0));
  EXPECT_ERROR_TEXT(rows->TextAt(0), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("Satz 2, Feld M: "), HasSubstr("keine Zahl")));
}

TEST_F(Dbf, AMemoFileThatIsTooShortToBeOneLeavesTheOtherColumns) {
  DbfWriter writer({{"NAME"}, {"M", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"Meier", "1"});
  for (const std::size_t size : {0, 3, 100}) {
    folder.Write("KUNDEN.dbt", std::string(size, ' '));
    const RecordsetPtr rows = Open(writer);
    EXPECT_EQ(rows->TextAt(0), "Meier");
    EXPECT_ERROR(rows->TextAt(1), ErrorNumber::kDatabase);
  }
}

// A memo of dBase III tells no length, but its file tells which block would be the next.
TEST_F(Dbf, AMemoThatIsCutWithItsFileIsTold) {
  DbfWriter writer({{"M", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"1"});
  const std::string text(700, 'x');
  std::string memo = LittleEndian(3, 4);
  memo.resize(512);
  memo += text;
  folder.Write("KUNDEN.DBT", memo);  // without the mark of its end, as some programs leave it
  EXPECT_EQ(Open(writer)->TextAt(0), text);
  folder.Write("KUNDEN.DBT", memo.substr(0, 1000));
  EXPECT_ERROR_TEXT(Open(writer)->TextAt(0), ErrorNumber::kDatabase, HasSubstr("endet innerhalb"));
}

// --- Records -----------------------------------------------------------------------------------

TEST_F(Dbf, DeletedRecordsAreLeftOutOfCountAndBookmarks) {
  DbfWriter writer({{"NAME"}});
  for (int i = 0; i < 6; ++i) writer.Add({"n" + std::to_string(i)}, i == 0 || i == 2 || i == 3 || i == 5);
  const RecordsetPtr rows = Open(writer);
  EXPECT_EQ(rows->RecordCount(), 2);
  EXPECT_EQ(rows->TextAt(0), "n1");
  rows->GoTo(1);
  EXPECT_EQ(rows->TextAt(0), "n4");
  rows->MoveNext();
  EXPECT_TRUE(rows->IsEof());
}

TEST_F(Dbf, ATableShorterThanItsHeadTellsIsReadAndBrokenOff) {
  DbfWriter writer({{"NAME"}});
  for (int i = 0; i < 1999; ++i) writer.Add({"n" + std::to_string(i)}, i == 3);
  folder.Write("KUNDEN.dbf", writer.Bytes().substr(0, 65 + 471 * 11 + 5));
  const RecordsetPtr rows = OpenFolder(folder.path())->OpenRecordset("SELECT * From KUNDEN");
  EXPECT_EQ(rows->RecordCount(), 1999 - 1);  // without the one that is known to be deleted
  const auto [texts, reason] = testing::RowsAndReason(*rows);
  EXPECT_EQ(texts.size(), 470U);
  EXPECT_EQ(texts.back()[0], "n470");
  EXPECT_THAT(reason, AllOf(HasSubstr("1999 Sätze"), HasSubstr("nur 471"), HasSubstr("KUNDEN.dbf")));
}

TEST_F(Dbf, ATableOfWhichOnlyTheHeadIsLeftIsBrokenOffFromTheBeginning) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"eins"});
  folder.Write("KUNDEN.dbf", writer.Bytes().substr(0, 65));
  const RecordsetPtr rows = OpenFolder(folder.path())->OpenRecordset("SELECT * From KUNDEN");
  EXPECT_TRUE(rows->IsEof());
  ASSERT_TRUE(rows->BrokenOff());
  EXPECT_THAT(rows->BrokenOff()->Description(), HasSubstr("1 Satz, in der Datei sind nur 0"));
}

TEST_F(Dbf, RecordsBehindThoseThatTheHeadTellsOfAreTold) {
  DbfWriter writer({{"NAME"}});
  for (int i = 0; i < 9; ++i) writer.Add({"n" + std::to_string(i)});
  writer.ClaimRecordCount(4);
  const auto [texts, reason] = testing::RowsAndReason(*Open(writer));
  EXPECT_EQ(texts.size(), 4U);
  EXPECT_THAT(reason, AllOf(HasSubstr("nur 4 Sätze"), HasSubstr("noch 5")));
}

TEST_F(Dbf, RecordsThatDoNotBeginAsRecordsDoAreToldAndRead) {
  DbfWriter writer({{"NAME"}});
  for (int i = 0; i < 9; ++i) writer.Add({"n" + std::to_string(i)});
  std::string bytes = writer.Bytes();
  bytes[65 + 2 * 11] = 'x';
  bytes[65 + 5 * 11] = 'x';
  folder.Write("t.dbf", bytes);
  const auto [texts, reason] =
      testing::RowsAndReason(*OpenFolder(folder.path())->OpenRecordset("SELECT * From t"));
  EXPECT_EQ(texts.size(), 9U);
  EXPECT_THAT(reason, AllOf(HasSubstr("2 von 9"), HasSubstr("zuerst bei Satz 3")));
}

// More records than are in memory at a time, walked in every direction, some of them deleted.
TEST_F(Dbf, ALargeTableIsReadInParts) {
  constexpr int kRecords = 5000;
  DbfWriter writer({{"NUMMER", 'N', 8}, {"TEXT", 'C', 120}});
  for (int number = 0; number < kRecords; ++number) {
    writer.Add({std::to_string(number), "Straße " + std::to_string(number)}, number % 7 == 0);
  }
  const RecordsetPtr rows = Open(writer);
  std::vector<std::string> forwards;
  for (; !rows->IsEof(); rows->MoveNext()) forwards.emplace_back(rows->TextAt(0));
  ASSERT_EQ(static_cast<std::int64_t>(forwards.size()), rows->RecordCount());
  EXPECT_EQ(rows->RecordCount(), kRecords - (kRecords + 6) / 7);
  EXPECT_EQ(forwards.back(), "4999");
  for (std::int64_t row = rows->RecordCount() - 1; row >= 0; row -= 3) {
    rows->GoTo(row);
    const std::string number = forwards[static_cast<std::size_t>(row)];
    ASSERT_EQ(rows->TextAt(0), number);
    ASSERT_THAT(std::string(rows->TextAt(1)), ::testing::EndsWith(" " + number));
  }
}

TEST_F(Dbf, WithoutItsMemoFileATableIsReadButForItsMemos) {
  DbfWriter writer({{"NAME", 'C', 10}, {"TEXT", 'M', 10}}, DbfWriter::kDbase3WithMemo);
  writer.Add({"eins", "         1"});
  writer.Add({"zwei", ""});
  const RecordsetPtr rows = Open(writer);
  EXPECT_EQ(rows->TextAt(0), "eins");
  EXPECT_ERROR_TEXT(rows->TextAt(1), ErrorNumber::kDatabase, HasSubstr("Die Memodatei KUNDEN.dbt fehlt"));
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "zwei");
  EXPECT_EQ(rows->TextAt(1), "");
  rows->MoveNext();
  EXPECT_TRUE(rows->IsEof());
}

TEST_F(Dbf, TheEndMarkEndsTheTableBeforeItsCount) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"eins"});
  writer.ClaimRecordCount(2);
  folder.Write("t.dbf", writer.Bytes() + std::string(100, 'x'));
  const RecordsetPtr rows = OpenFolder(folder.path())->OpenRecordset("SELECT * From t");
  EXPECT_EQ(rows->RecordCount(), 2);
  const auto [texts, reason] = testing::RowsAndReason(*rows);
  EXPECT_EQ(texts.size(), 1U);
  EXPECT_THAT(reason, HasSubstr("2 Sätze, in der Datei sind nur 1"));
}

TEST_F(Dbf, DamagedHeadsAreRefusedWithThePath) {
  DbfWriter writer({{"NAME"}});
  writer.Add({"eins"});
  const std::string good = writer.Bytes();
  const auto refused = [&](std::string bytes) {
    const std::string path = folder.Write("kaputt.dbf", bytes);
    EXPECT_ERROR_TEXT(OpenFolder(folder.path())->OpenRecordset("SELECT * From kaputt"), ErrorNumber::kDatabase,
                      HasSubstr(path));
  };
  refused("");
  refused(good.substr(0, 20));
  refused(good.substr(0, 40));
  refused("PK" + good.substr(2));
  refused(std::string(good).replace(8, 2, LittleEndian(60000, 2)));  // where the records begin
  refused(std::string(good).replace(10, 2, LittleEndian(0, 2)));     // length of a record
  refused(std::string(good).replace(10, 2, LittleEndian(5, 2)));
  refused(std::string(good).replace(32, 1, "\x0D"));  // no columns
}

// --- Code pages --------------------------------------------------------------------------------

TEST_F(Dbf, TheHeadTellsTheCodePageElseItIs850) {
  const auto text = [&](std::uint8_t language, const char* bytes, const std::string& more = "") {
    DbfWriter writer({{"NAME"}}, DbfWriter::kDbase3, language);
    writer.Add({bytes});
    return std::string(Open(writer, more)->TextAt(0));
  };
  EXPECT_EQ(text(0x03, "M\xFCller"), "Müller");
  EXPECT_EQ(text(0x01, "\x9B"), "¢");
  EXPECT_EQ(text(0x02, "\x9B"), "ø");
  EXPECT_EQ(text(0xC8, "\x9D"), "ť");
  EXPECT_EQ(text(0x00, "M\x81ller"), "Müller");
  EXPECT_EQ(text(0x00, "M\xFCller", ";CodePage=1252"), "Müller");
  EXPECT_EQ(text(0x02, "M\xFCller", ";CodePage=cp1252"), "Müller");
}

TEST_F(Dbf, TheEnvironmentSetsTheCodePageOfTablesThatTellNone) {
  DbfWriter silent({{"NAME"}}, DbfWriter::kDbase3, 0);
  silent.Add({"M\xFCller"});
  DbfWriter marked({{"NAME"}}, DbfWriter::kDbase3, 0x02);
  marked.Add({"M\x81ller"});
  setenv("KESTREL_DBF_CODEPAGE", "1252", 1);
  EXPECT_EQ(Open(silent)->TextAt(0), "Müller");
  EXPECT_EQ(Open(marked)->TextAt(0), "Müller");
  unsetenv("KESTREL_DBF_CODEPAGE");
}

TEST_F(Dbf, AnUnknownLanguageMarkIsToldWhereItMatters) {
  DbfWriter writer({{"NAME"}, {"ZAHL", 'N', 5}}, DbfWriter::kDbase3, 0x69);
  writer.Add({"Meier", "1"});
  EXPECT_EQ(Texts(*Open(writer)), (std::vector<std::string>{"Meier", "1"}));
  writer.Add({"M\x81ller", "2"});
  EXPECT_ERROR_TEXT(Open(writer), ErrorNumber::kDatabase,
                    AllOf(HasSubstr("0x69"), HasSubstr("CodePage"), HasSubstr("KUNDEN.DBF")));
  const RecordsetPtr rows = Open(writer, ";CodePage=850");
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(0), "Müller");
  setenv("KESTREL_DBF_CODEPAGE", "850", 1);
  EXPECT_NO_THROW(Open(writer));
  unsetenv("KESTREL_DBF_CODEPAGE");
}

TEST_F(Dbf, TheLanguageDriverOfLevel7TellsTheCodePage) {
  for (const auto& [driver, stored] :
       {std::pair("DB850DE0", "M\x81ller"), std::pair("DBWINUS0", "M\xFCller")}) {
    DbfWriter writer({{"NAME"}}, DbfWriter::kDbase7, 0);
    writer.Add({stored});
    folder.Write("t.dbf", std::string(writer.Bytes()).replace(32, 8, driver));
    EXPECT_EQ(OpenFolder(folder.path())->OpenRecordset("SELECT * From t")->TextAt(0), "Müller") << driver;
  }
}

TEST_F(Dbf, AnUnknownCodePageIsRefused) {
  EXPECT_ERROR_TEXT(OpenFolder(folder.path(), ";CodePage=deutsch"), ErrorNumber::kDatabase,
                    HasSubstr("deutsch"));
}

// --- Public files ------------------------------------------------------------------------------

class DbfPublicFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the folder of public test files is absent";
    connection = OpenFolder(testing::TestDataFolder() + "/dbf");
  }
  RecordsetPtr Rows(const std::string& table) { return connection->OpenRecordset("SELECT * From " + table); }

  ConnectionPtr connection;
};

TEST_F(DbfPublicFiles, TwoColumnsMayShareAName) {
  const RecordsetPtr rows = Rows("dbase_03");
  EXPECT_EQ(rows->RecordCount(), 14);
  EXPECT_EQ(rows->ColumnCount(), 31U);
  EXPECT_EQ(rows->ColumnName(0), "Point_ID");
  EXPECT_EQ(rows->TextAt(0), "0507121");
  EXPECT_EQ(rows->TextAt(rows->RequireColumn("Date_Visit")), "12.07.2005");
  EXPECT_EQ(rows->TextAt(rows->RequireColumn("Northing")), "557904,898");
}

TEST_F(DbfPublicFiles, FoxProWithNullsAndCurrency) {
  const RecordsetPtr rows = Rows("dbase_31");
  EXPECT_EQ(rows->RecordCount(), 77);
  EXPECT_THAT(Texts(*rows),
              ElementsAre("1", "Chai", "1", "1", "10 boxes x 20 bags", "18", "39", "0", "10", "Falsch"));
}

TEST_F(DbfPublicFiles, DbaseFourWithMemos) {
  const RecordsetPtr rows = Rows("dbase_8b");
  EXPECT_EQ(rows->RecordCount(), 10);
  EXPECT_THAT(Texts(*rows),
              ElementsAre("One", "1", "01.01.1970", "Wahr", "1,23456789012346", "First memo\r\n"));
  rows->MoveNext();
  EXPECT_EQ(rows->TextAt(5), "Second memo");
}

TEST_F(DbfPublicFiles, ACodePageCanBeGivenForTablesThatTellNone) {
  EXPECT_EQ(Rows("KUNDEN_c850")->TextAt(1), "Jürgen");
  const ConnectionPtr ansi = OpenFolder(testing::TestDataFolder() + "/dbf", ";CodePage=1252");
  EXPECT_EQ(ansi->OpenRecordset("SELECT * From KUNDEN_c1252")->TextAt(1), "Jürgen");
}

}  // namespace kestrel
