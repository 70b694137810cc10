// 2,000 German postal codes in four encodings, from public data.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/base/text.h"
#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using Rows = std::vector<std::vector<std::string>>;

class PublicTextFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not here";
  }
  static Rows Read(const std::string& name, const std::string& file_format) {
    const RecordsetPtr records =
        OpenTextSource(testing::TestDataFolder() + "/csv/" + name, {true, file_format, ";", "\""});
    EXPECT_EQ(records->RecordCount(), 2000);
    EXPECT_EQ(records->ColumnName(0), "PLZ");
    EXPECT_EQ(records->ColumnName(5), "Laenge");
    Rows rows;
    for (; !records->IsEof(); records->MoveNext()) {
      std::vector<std::string>& row = rows.emplace_back();
      for (std::size_t column = 0; column < records->ColumnCount(); ++column) {
        row.emplace_back(records->TextAt(column));
      }
    }
    return rows;
  }
};

TEST_F(PublicTextFiles, AreTheSameInEveryAnsiAndUnicodeEncoding) {
  const Rows expected = Read("plz_de_2000_utf8bom.csv", "ANSI");
  EXPECT_EQ(expected[0][1], "Bernburg");
  EXPECT_EQ(Read("plz_de_2000_cp1252.csv", "ANSI"), expected);
  EXPECT_EQ(Read("plz_de_2000_utf16.csv", "ANSI"), expected);
}

TEST_F(PublicTextFiles, OfCodePage437AreReadAsDosFilesAsFarAsGermanLettersGo) {
  const Rows expected = Read("plz_de_2000_utf8bom.csv", "ANSI");
  const Rows dos = Read("plz_de_2000_cp437.csv", "ASCII");
  ASSERT_EQ(dos.size(), expected.size());
  std::size_t with_umlauts = 0;
  for (std::size_t row = 0; row < dos.size(); ++row) {
    for (std::size_t column = 0; column < dos[row].size(); ++column) {
      std::string others = expected[row][column];
      for (const char* letter : {"ä", "ö", "ü", "Ä", "Ö", "Ü", "ß"}) others = ReplaceAll(others, letter, "");
      if (LengthInCharacters(others) != others.size()) continue;  // a letter that is not repaired
      EXPECT_EQ(dos[row][column], expected[row][column]);
      if (others != expected[row][column]) ++with_umlauts;
    }
  }
  EXPECT_GT(with_umlauts, 500U);
}

}  // namespace
}  // namespace kestrel
