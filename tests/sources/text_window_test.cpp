// Text files that are larger than the window through which they are read.
#include "sources/text_window.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::TempFolder;

constexpr std::size_t kWindow = TextWindow::kWindowSize;
const TextFormat kPlain{false, "ANSI", ";", "\""};

class TextWindowTest : public ::testing::Test {
 protected:
  RecordsetPtr Open(const std::string& bytes) {
    return OpenTextSource(folder_.Write("source.txt", bytes), kPlain);
  }

  // The file's lines, each a record of one value, as they come one after the other.
  std::vector<std::string> Read(const std::string& bytes) {
    std::vector<std::string> lines;
    const RecordsetPtr records = Open(bytes);
    for (; !records->IsEof(); records->MoveNext()) lines.emplace_back(records->TextAt(0));
    return lines;
  }

  TempFolder folder_;
};

TEST_F(TextWindowTest, RandomLinesAreTheSameAsInOnePiece) {
  std::mt19937 random(20261121);
  for (const std::string_view line_end : {"\r\n", "\r", "\n"}) {
    // The first line tells how many columns there are.
    std::vector<std::string> lines{"first"};
    std::string bytes = lines.front() + std::string(line_end);
    while (bytes.size() < 5 * kWindow) {
      // Now and then a blank line, which is no record.
      const std::size_t length = random() % 8 == 0 ? 0 : random() % 300;
      const std::string line(length, static_cast<char>('a' + random() % 26));
      if (!line.empty()) lines.push_back(line);
      bytes.append(line).append(line_end);
    }
    EXPECT_EQ(Read(bytes), lines);
  }
}

TEST_F(TextWindowTest, ACrLfMayStandAcrossEveryBorder) {
  // 64 bytes a line: shifted by 0 to 2 bytes, CR and LF fall on either side of each border.
  for (const std::size_t shift : {0U, 1U, 2U}) {
    std::string bytes(shift, 'x');
    const std::string line(62, 'y');
    std::vector<std::string> lines;
    while (bytes.size() < 3 * kWindow) {
      bytes.append(line).append("\r\n");
      lines.push_back(line);
    }
    lines.front().insert(0, shift, 'x');
    EXPECT_EQ(Read(bytes), lines) << shift;
  }
}

TEST_F(TextWindowTest, ACharacterMayStandAcrossTheBorder) {
  for (const std::size_t shift : {1U, 2U}) {
    std::string bytes(kWindow - shift, 'x');
    bytes.append("€;1\r\n").append(kWindow, 'y');
    const std::vector<std::string> lines = Read(bytes);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], std::string(kWindow - shift, 'x') + "€");
  }
}

TEST_F(TextWindowTest, ALineMayBeLongerThanTheWindow) {
  const std::string longest(3 * kWindow + 17, 'z');
  EXPECT_EQ(Read("a\r\n" + longest + "\r\nb\r\n"), (std::vector<std::string>{"a", longest, "b"}));
  EXPECT_EQ(Read("a\r\n" + longest), (std::vector<std::string>{"a", longest}));
}

TEST_F(TextWindowTest, AFirstCrBehindTheWindowDecidesForTheWholeFile) {
  std::string bytes;
  while (bytes.size() < 2 * kWindow) bytes += "a\n";
  const std::string first = bytes;
  EXPECT_EQ(Read(bytes + "\rb"), (std::vector<std::string>{first, "b"}));
}

TEST_F(TextWindowTest, RecordsAreReachedInAnyOrder) {
  std::string bytes;
  std::size_t count = 0;
  for (; bytes.size() < 4 * kWindow; ++count) bytes.append(std::to_string(count)).append(";x\r\n");
  const RecordsetPtr records = Open(bytes);
  ASSERT_EQ(records->RecordCount(), static_cast<std::int64_t>(count));
  std::mt19937 random(3);
  for (int i = 0; i < 200; ++i) {
    const auto row = static_cast<std::int64_t>(random() % count);
    records->GoTo(row);
    EXPECT_EQ(records->TextAt(0), std::to_string(row));
  }
}

}  // namespace
}  // namespace kestrel
