// The beginning of a text file reads like the file itself.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/base/text.h"
#include "sources/text_file.h"
#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using ::testing::ElementsAreArray;

class TextBeginning : public ::testing::Test {
 protected:
  using Rows = std::vector<std::vector<std::string>>;

  static Rows FirstOf(const RecordsetPtr& records, std::size_t most) {
    Rows rows;
    for (; rows.size() < most && !records->IsEof(); records->MoveNext()) {
      std::vector<std::string>& row = rows.emplace_back();
      for (std::size_t column = 0; column < records->ColumnCount(); ++column) {
        row.emplace_back(records->TextAt(column));
      }
    }
    return rows;
  }
  static std::string Utf16(const std::string& text) {
    std::string bytes = "\xFF\xFE";
    for (std::size_t position = 0; position < text.size();) {
      const char32_t c = NextCodePoint(text, position);
      bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
    }
    return bytes;
  }
  // A file much longer than its beginning.
  static std::string LongText(const std::string& line_end) {
    std::string text = "Name;Ort;Bemerkung" + line_end;
    for (int i = 0; i < 6'000; ++i) {
      text += "Müller " + std::to_string(i) + ";Köln;\"" + std::string(i % 90, 'x') + "; y\"" + line_end;
    }
    return text;
  }
  void ExpectSameBeginning(const std::string& bytes, const TextFormat& format) const {
    const std::string path = folder.Write("lang.txt", bytes);
    const RecordsetPtr whole = OpenTextSource(path, format);
    const RecordsetPtr beginning = OpenTextBeginning(path, format);
    ASSERT_EQ(beginning->ColumnCount(), whole->ColumnCount());
    EXPECT_EQ(beginning->ColumnName(0), whole->ColumnName(0));
    EXPECT_LT(beginning->RecordCount(), whole->RecordCount());
    ASSERT_GE(beginning->RecordCount(), 100);
    const auto count = static_cast<std::size_t>(beginning->RecordCount());
    EXPECT_THAT(FirstOf(beginning, count), ElementsAreArray(FirstOf(whole, count))) << "to the last one";
  }

  testing::TempFolder folder;
};

TEST_F(TextBeginning, HoldsTheSameRecordsAsTheWholeFile) {
  for (const std::string line_end : {"\r\n", "\n", "\r"}) {
    const std::string text = LongText(line_end);
    ExpectSameBeginning(text, {true, "ANSI", ";", "\""});
    ExpectSameBeginning(ToWindows1252(text), {true, "ANSI", ";", "\""});
    ExpectSameBeginning("\xEF\xBB\xBF" + text, {false, "ANSI", "TAB", "\""});
    ExpectSameBeginning("\xEF\xBB\xBF" + text, {true, "ASCII", ";", "\""});
    ExpectSameBeginning(ToWindows1252(SpoilAsciiUmlauts(text)), {true, "ASCII", ";", "\""});
    ExpectSameBeginning(Utf16(text), {true, "ANSI", ";", "\""});
  }
}

TEST_F(TextBeginning, OfAShortFileIsAllOfIt) {
  const std::string path = folder.Write("kurz.txt", "Name;Ort\nBeck;Ulm\nMeier;Bonn");
  const RecordsetPtr records = OpenTextBeginning(path, {true, "ANSI", ";", "\""});
  EXPECT_EQ(records->RecordCount(), 2);
  EXPECT_EQ(FirstOf(records, 9).back().back(), "Bonn");
}

TEST_F(TextBeginning, LeavesOutARecordThatItDoesNotReachTheEndOf) {
  const std::string huge(2 * TextFile::kBeginningBytes, 'x');
  const std::string path =
      folder.Write("riesig.txt", "Name;Ort\nBeck;Ulm\nMeier;Bonn\n" + huge + "\nGroß;Hof\n");
  const RecordsetPtr records = OpenTextBeginning(path, {true, "ANSI", ";", "\""});
  EXPECT_LE(records->RecordCount(), 2);
  ASSERT_GE(records->RecordCount(), 1);
  EXPECT_EQ(FirstOf(records, 1).front().back(), "Ulm");
}

}  // namespace
}  // namespace kestrel
