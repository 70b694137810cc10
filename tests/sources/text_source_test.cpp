// Whole text files: lines, character sets, records, and files that are no good.
#include "sources/text_source.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/runtime_error.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;
using Rows = std::vector<std::vector<std::string>>;

const TextFormat kPlain{false, "ANSI", ";", "\""};
const TextFormat kWithHeader{true, "ANSI", ";", "\""};

Rows AllRows(const RecordsetPtr& records) {
  Rows rows;
  for (records->MoveFirst(); !records->IsEof(); records->MoveNext()) {
    std::vector<std::string>& row = rows.emplace_back();
    for (std::size_t column = 0; column < records->ColumnCount(); ++column) {
      row.emplace_back(records->TextAt(column));
    }
  }
  return rows;
}

template <class Work>
int ErrorNumberOf(Work&& work) {
  try {
    work();
  } catch (const RuntimeError& error) {
    return error.Number();
  }
  return 0;
}

class TextSourceTest : public ::testing::Test {
 protected:
  RecordsetPtr Open(std::string_view bytes, const TextFormat& format = kPlain) {
    return OpenTextSource(folder_.Write("source.txt", bytes), format);
  }
  Rows Read(std::string_view bytes, const TextFormat& format = kPlain) { return AllRows(Open(bytes, format)); }

  TempFolder folder_;
};

// --- Lines and records --------------------------------------------------------------------------

TEST_F(TextSourceTest, LinesEndAtCrOrCrLf) {
  EXPECT_EQ(Read("a;b\r\nc;d\re;f\r\n"), (Rows{{"a", "b"}, {"c", "d"}, {"e", "f"}}));
}

TEST_F(TextSourceTest, ALoneLfEndsNoLineInAFileWithCr) {
  EXPECT_EQ(Read("a;b\nc\r\nd;e"), (Rows{{"a", "b\nc"}, {"d", "e"}}));
  EXPECT_EQ(Read("a;b\nc\nd;e\n\r"), (Rows{{"a", "b\nc\nd", "e\n"}}));
}

TEST_F(TextSourceTest, AFileWithoutAnyCrEndsItsLinesAtLf) {
  EXPECT_EQ(Read("a;b\nc;d\n\n e;f"), (Rows{{"a", "b"}, {"c", "d"}, {" e", "f"}}));
}

TEST_F(TextSourceTest, ACrFarBehindManyLfStillDecidesForTheWholeFile) {
  std::string bytes;
  while (bytes.size() < 700'000) bytes += "a;b\n";
  bytes += "\rc;d";
  const RecordsetPtr records = Open(bytes);
  EXPECT_EQ(records->RecordCount(), 2);
  EXPECT_EQ(records->ColumnCount(), 175'001U);
  records->MoveNext();
  EXPECT_EQ(records->TextAt(1), "d");
  EXPECT_EQ(ReadTextFieldNames(folder_.File("source.txt"), kPlain).size(), 175'002U);
}

TEST_F(TextSourceTest, AnEmptyLineIsSkippedAndALineOfBlanksIsARecord) {
  EXPECT_EQ(Read("a;b\r\n\r\n   \r\nc;d\r\n\r\n"), (Rows{{"a", "b"}, {"   ", ""}, {"c", "d"}}));
}

TEST_F(TextSourceTest, MissingValuesAreEmptyAndSurplusOnesDropped) {
  EXPECT_EQ(Read("a;b;c\r\nd\r\ne;f;g;h\r\n"), (Rows{{"a", "b", "c"}, {"d", "", ""}, {"e", "f", "g"}}));
}

TEST_F(TextSourceTest, ValuesOfALineBeforeDoNotShineThrough) {
  EXPECT_EQ(Read("\"ä\";\"ö\"\r\nx\r\n\"ü\r\n", kPlain), (Rows{{"ä", "ö"}, {"x", ""}, {"", ""}}));
}

TEST_F(TextSourceTest, TheHeaderIsNeverARecord) {
  EXPECT_EQ(Read("Name ; Ort;\r\nx;y\r\n", kWithHeader), (Rows{{"x", "y"}}));
  EXPECT_EQ(Open("Name;Ort", kWithHeader)->RecordCount(), 0);
  EXPECT_EQ(Open("Name;Ort\r\n", kWithHeader)->RecordCount(), 0);
}

TEST_F(TextSourceTest, AnEmptyFirstLineIsTheHeaderAllTheSame) {
  const RecordsetPtr records = Open("\r\na;b\r\n", kWithHeader);
  EXPECT_EQ(records->ColumnCount(), 1U);
  EXPECT_EQ(AllRows(records), Rows{{"a"}});
}

TEST_F(TextSourceTest, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(Read("a;b\r\nc;d"), (Rows{{"a", "b"}, {"c", "d"}}));
  EXPECT_EQ(Read("a;b\nc;d"), (Rows{{"a", "b"}, {"c", "d"}}));
}

TEST_F(TextSourceTest, AFileWithoutBytesHasOneColumnAndNoRecord) {
  const RecordsetPtr records = Open("");
  EXPECT_EQ(records->RecordCount(), 0);
  EXPECT_EQ(records->ColumnCount(), 1U);
  EXPECT_TRUE(records->IsBof());
  EXPECT_TRUE(records->IsEof());
  EXPECT_EQ(Open("", kWithHeader)->RecordCount(), 0);
  EXPECT_EQ(Open("\xEF\xBB\xBF")->RecordCount(), 0);
  EXPECT_EQ(Open("\xFF\xFE")->RecordCount(), 0);
  EXPECT_EQ(Open("\r\n\r\n\r\n")->RecordCount(), 0);
}

TEST_F(TextSourceTest, NulBytesAreCharactersLikeOthers) {
  using std::string_literals::operator""s;
  EXPECT_EQ(Read("a\0b;\0\r\nc;d"s), (Rows{{"a\0b"s, "\0"s}, {"c", "d"}}));
}

TEST_F(TextSourceTest, ALineOf100MegabytesIsOneRecord) {
  std::string bytes = "first;second\r\n";
  bytes.append(100'000'000, 'x');
  bytes += ";\xE4\r\nlast;line";
  const RecordsetPtr records = Open(bytes);
  EXPECT_EQ(records->RecordCount(), 3);
  records->MoveNext();
  EXPECT_EQ(records->TextAt(0).size(), 100'000'000U);
  EXPECT_EQ(records->TextAt(1), "ä");
  records->MoveNext();
  EXPECT_EQ(records->TextAt(1), "line");
}

TEST_F(TextSourceTest, ColumnsBeyondThe200thExistAndStayEmpty) {
  std::string line;
  for (int i = 1; i <= 203; ++i) line += std::to_string(i) + ";";
  const RecordsetPtr records = Open(line + "\r\n");
  ASSERT_EQ(records->ColumnCount(), 203U);
  EXPECT_EQ(records->ColumnName(202), "Feld203");
  EXPECT_EQ(records->TextAt(199), "200");
  EXPECT_EQ(records->TextAt(200), "");
  EXPECT_EQ(records->TextAt(202), "");
  EXPECT_FALSE(records->IsNull(202));
}

TEST_F(TextSourceTest, ALineMadeOfQualifiersOverManyBlocksKeepsItsParity) {
  const std::string quoted = "\"" + std::string(500, ';') + "\"";
  EXPECT_EQ(Read("a;b;c\r\n" + quoted + ";" + quoted + ";z\r\n"),
            (Rows{{"a", "b", "c"}, {std::string(500, ';'), std::string(500, ';'), "z"}}));
}

TEST_F(TextSourceTest, WithoutDelimiterTheRecordsHaveNoColumns) {
  const RecordsetPtr records = Open("a;b\r\nc", {false, "ANSI", "", "\""});
  EXPECT_EQ(records->ColumnCount(), 0U);
  EXPECT_EQ(records->RecordCount(), 2);
}

TEST_F(TextSourceTest, ADelimiterOfSeveralCharactersGivesRecordsOfEmptyValues) {
  EXPECT_EQ(Read("a##b\r\n\r\nc##d\r\n", {true, "ANSI", "##", "\""}), (Rows{{"", ""}}));
}

// --- Character sets -----------------------------------------------------------------------------

TEST_F(TextSourceTest, BytesAreWindows1252UnlessTheyShowOtherwise) {
  EXPECT_EQ(Read("M\xFCller;\x80 5\r\n\"\xC4\";\x81"), (Rows{{"Müller", "€ 5"}, {"Ä", "\u0081"}}));
}

TEST_F(TextSourceTest, ValidUtf8WithoutMarkIsUtf8) {
  EXPECT_EQ(Read("Müller;€\r\n\"漢\";😀"), (Rows{{"Müller", "€"}, {"漢", "😀"}}));
}

TEST_F(TextSourceTest, OneBadByteMakesTheWholeFileWindows1252) {
  EXPECT_EQ(Read("M\xC3\xBCller;x\r\n\xFC;y"), (Rows{{"MÃ¼ller", "x"}, {"ü", "y"}}));
}

TEST_F(TextSourceTest, ACharacterCutOffAtTheEndIsNotUtf8) {
  EXPECT_EQ(Read("ü;\xE2\x82"), (Rows{{"Ã¼", "â‚"}}));
}

TEST_F(TextSourceTest, ADosFileIsNeverTakenForUtf8WithoutAMark) {
  EXPECT_EQ(Read("\xC3\xBC;x", {false, "ASCII", ";", "\""}), (Rows{{"Ã¼", "x"}}));
}

TEST_F(TextSourceTest, UmlautsOfADosFileAreRepaired) {
  EXPECT_EQ(Read("Stra\xE1"
                 "e;M\x81ller;\"\x84\x94\x8E\x99\x9A\"",
                 {false, "ASCII", ";", "\""}),
            (Rows{{"Straße", "Müller", "äöÄÖÜ"}}));
}

TEST_F(TextSourceTest, FormatInLowerCaseIsNoDosFile) {
  EXPECT_EQ(Read("Stra\xE1"
                 "e",
                 {false, "ascii", ";", "\""}),
            (Rows{{"Straáe"}}));
}

TEST_F(TextSourceTest, AMarkSelectsUtf8AndUtf16) {
  using std::string_literals::operator""s;
  const TextFormat dos{false, "ASCII", ";", "\""};
  EXPECT_EQ(Read("\xEF\xBB\xBF"
                 "a;ü\r\n"),
            (Rows{{"a", "ü"}}));
  EXPECT_EQ(Read("\xFF\xFE"
                 "a\0;\0\xFC\0\r\0\n\0"s),
            (Rows{{"a", "ü"}}));
  EXPECT_EQ(Read("\xFE\xFF"
                 "\0a\0;\0\xFC\0\r\0\n"s),
            (Rows{{"a", "ü"}}));
  EXPECT_EQ(Read("\xEF\xBB\xBF"
                 "a;Stra\u00E1e",
                 dos),
            (Rows{{"a", "Straße"}}));
  EXPECT_EQ(Read("\xFF\xFE"
                 "a\0;\0\xE1\0"s,
                 dos),
            (Rows{{"a", "ß"}}));
}

TEST_F(TextSourceTest, BadUtf8BehindAMarkLosesNoCharacter) {
  EXPECT_EQ(Read("\xEF\xBB\xBFü;M\xFCller"), (Rows{{"ü", "Müller"}}));
}

TEST_F(TextSourceTest, AUtf8CharacterAcrossReadingBlocksIsRecognised) {
  for (std::size_t offset = 0; offset < 4; ++offset) {
    std::string bytes(262'144 - 3 + offset, 'x');
    bytes += "😀;ü\r\ny;z";
    const RecordsetPtr records = Open(bytes);
    EXPECT_EQ(records->TextAt(1), "ü");
    EXPECT_TRUE(records->TextAt(0).ends_with("x😀"));
  }
}

TEST_F(TextSourceTest, ACrLfAcrossReadingBlocksIsOneLineEnd) {
  for (std::size_t offset = 0; offset < 4; ++offset) {
    const std::string first(262'144 - 2 + offset, 'x');
    EXPECT_EQ(Read(first + "\r\ny"), (Rows{{first}, {"y"}}));
  }
}

// --- The record set -----------------------------------------------------------------------------

TEST_F(TextSourceTest, ALookUpOfAnAmbiguousNameFindsTheFirst) {
  const RecordsetPtr records = Open("Ort;Ort\r\na;b", kWithHeader);
  EXPECT_EQ(records->ColumnCount(), 2U);
  EXPECT_EQ(records->FindColumn("Ort"), 0U);
}

TEST_F(TextSourceTest, BookmarksGoBack) {
  const RecordsetPtr records = Open("a\r\nb\r\n\r\nc");
  records->MoveNext();
  const std::int64_t bookmark = records->Bookmark();
  records->MoveNext();
  EXPECT_EQ(records->TextAt(0), "c");
  records->GoTo(bookmark);
  EXPECT_EQ(records->TextAt(0), "b");
  EXPECT_EQ(ErrorNumberOf([&] { records->GoTo(3); }), 3021);
  EXPECT_EQ(ErrorNumberOf([&] { records->GoTo(-1); }), 3021);
}

TEST_F(TextSourceTest, AwayFromARecordThereIsNothingToRead) {
  const RecordsetPtr records = Open("a;b");
  EXPECT_EQ(ErrorNumberOf([&] { records->TextAt(2); }), 9);
  EXPECT_EQ(ErrorNumberOf([&] { records->ColumnName(2); }), 9);
  records->MoveNext();
  EXPECT_TRUE(records->IsEof());
  EXPECT_EQ(ErrorNumberOf([&] { records->TextAt(0); }), 3021);
  EXPECT_EQ(ErrorNumberOf([&] { records->IsNull(0); }), 3021);
  EXPECT_EQ(ErrorNumberOf([&] { records->Bookmark(); }), 3021);
  EXPECT_EQ(ErrorNumberOf([&] { records->MoveNext(); }), 3021);
  records->MoveFirst();
  EXPECT_EQ(records->TextAt(0), "a");
}

TEST_F(TextSourceTest, ViewsHoldUntilTheNextMove) {
  std::string line;
  for (int i = 0; i < 150; ++i) line += "\"" + std::string(100, '\xFC') + "\";";
  const RecordsetPtr records = Open(line);
  std::vector<std::string_view> views;
  for (std::size_t column = 0; column < records->ColumnCount(); ++column)
    views.push_back(records->TextAt(column));
  std::string expected;
  for (int i = 0; i < 100; ++i) expected += "ü";
  for (const std::string_view view : views) EXPECT_EQ(view, expected);
}

TEST_F(TextSourceTest, RecordsStayWhenTheFileChangesOrVanishes) {
  const RecordsetPtr records = Open("a;b\r\nc;d");
  folder_.Write("source.txt", "");
  std::filesystem::remove(folder_.File("source.txt"));
  EXPECT_EQ(AllRows(records), (Rows{{"a", "b"}, {"c", "d"}}));
}

// --- Files that cannot be read ------------------------------------------------------------------

TEST_F(TextSourceTest, AMissingFileIsNotFoundAndNamed) {
  const std::string path = folder_.File("fehlt.txt");
  for (const auto& read : {std::function<void()>([&] { OpenTextSource(path, kPlain); }),
                           std::function<void()>([&] { ReadTextFieldNames(path, kPlain); })}) {
    try {
      read();
      FAIL() << "nothing was raised";
    } catch (const RuntimeError& error) {
      EXPECT_EQ(error.Number(), 53);
      EXPECT_EQ(error.Description(), "Datei nicht gefunden: " + path);
    }
  }
}

TEST_F(TextSourceTest, AFolderIsNoTextFile) {
  EXPECT_EQ(ErrorNumberOf([&] { OpenTextSource(folder_.path(), kPlain); }), 75);
}

// Another user's rights for as long as it lives, where the test runs as root, who may read every file.
class WithoutRootRights {
 public:
  WithoutRootRights() { EXPECT_TRUE(!root_ || seteuid(65534) == 0); }
  ~WithoutRootRights() { EXPECT_TRUE(!root_ || seteuid(0) == 0); }

 private:
  bool root_ = geteuid() == 0;
};

TEST_F(TextSourceTest, AFileWithoutPermissionIsRefused) {
  const std::string path = folder_.Write("geheim.txt", "a");
  chmod(path.c_str(), 0);
  const WithoutRootRights without_root_rights;
  EXPECT_EQ(ErrorNumberOf([&] { OpenTextSource(path, kPlain); }), 70);
}

}  // namespace
}  // namespace kestrel
