// Every special sequence of bytes at every place of a block, and around the border of the window through which
// large files are read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/base/byte_blocks.h"
#include "sources/line_marks.h"
#include "sources/text_source.h"
#include "sources/text_window.h"
#include "sources/whole_files.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::Records;
using testing::TempFolder;

constexpr std::size_t kWindow = TextWindow::kWindowSize;
const TextFormat kFormat{false, "ANSI", ";", "\""};

const std::vector<std::string>& Sequences() {
  static const std::vector<std::string> sequences = {
      "\r\n", "\r", "\n", "\r\n\n", "\r\r\n", "\n\r\n", "\n\n", ";", ";;", "\";\"", "\"\"", "\"", "\"a\"\";b\"",
      ";\"b\nc\";", "\n\"d\ne\"\n", ";\"f\r\ng\";", "ü", "€", "😀",
      // Broken UTF-8: cut short, too long a form, a lone second byte; so the file is Windows-1252.
      "\xC3", "\xE2\x82", "\xC0\xAF", "\x80", "\xF0\x9F\x98"};
  return sequences;
}

Records Read(const std::string& path) { return testing::ReadRecords(path, kFormat); }

Records Expected(const std::string& bytes) { return testing::ReadSlowly(bytes, kFormat); }

std::string Shown(const std::string& bytes) { return ::testing::PrintToString(bytes); }

class SpecialBytes : public ::testing::Test {
 protected:
  std::string Write(const std::string& bytes) { return testing::WriteAnew(folder_, bytes); }

  // At every place of a block, in a file with CR and, where the bytes hold none, without.
  void Slide(const std::string& head, const std::string& bytes) {
    for (std::size_t offset = 0; offset < kBlockSize; ++offset) {
      for (const std::string tail : {"b;c\r\nd\n", "b;c\nd\n"}) {
        const std::string text = head + "a;" + std::string(offset, 'x') + bytes + tail;
        ASSERT_EQ(Read(Write(text)), Expected(text)) << Shown(text);
      }
    }
  }

  // Behind one value of so many "x", which costs the slow reader time and changes nothing.
  void CompareBehind(std::size_t size, const std::string& bytes) {
    for (const std::string end : {"\r\n", "\n"}) {
      const std::string rest = bytes + "b;c" + end + "d";
      const std::string path = Write(std::string(size, 'x') + rest);
      Records expected = Expected("x" + rest);
      ASSERT_FALSE(expected.empty());
      if (!expected[0][0].empty()) expected[0][0].insert(0, size - 1, 'x');
      ASSERT_EQ(Read(path), expected) << size << ' ' << Shown(rest);
    }
  }

  TempFolder folder_;
};

TEST_F(SpecialBytes, AreReadAlikeAtEveryPlaceOfABlock) {
  for (const std::string head : {"", "h;i;j;k\r\n", "h;i;j;k\n"}) {
    for (const std::string& sequence : Sequences()) ASSERT_NO_FATAL_FAILURE(Slide(head, sequence));
  }
}

TEST_F(SpecialBytes, AreReadAlikeNextToEachOther) {
  const std::vector<std::string> common = {"\r\n", "\r", "\n", "\"", "\"\"", ";", "ü"};
  for (const std::string& first : common) {
    for (const std::string& second : common) ASSERT_NO_FATAL_FAILURE(Slide("", first + second));
  }
}

TEST_F(SpecialBytes, AreReadAlikeAroundTheBorderOfTheWindow) {
  for (const std::string& sequence : Sequences()) {
    // The last block that is looked at with the first window ends 64 bytes before its border.
    for (std::size_t before = 72; before > 60; --before)
      ASSERT_NO_FATAL_FAILURE(CompareBehind(kWindow - before, sequence));
    for (std::size_t before = 7; before-- > 0;)
      ASSERT_NO_FATAL_FAILURE(CompareBehind(kWindow - before, sequence));
  }
}

TEST_F(SpecialBytes, AreReadAlikeAroundTheBorderOfAStretch) {
  constexpr std::size_t kStretch = LineMarks::kBlocks * kBlockSize;
  for (const std::string& sequence : Sequences()) {
    for (std::size_t before = 14; before-- > 0;)
      ASSERT_NO_FATAL_FAILURE(CompareBehind(kStretch - before, sequence));
    // A line feed before the stretch, qualifiers in it.
    for (const std::string next : {"\"y\";z", "\"\";\"\"", "y\";z", "\"\"\"\ny\";z"}) {
      for (std::size_t before = 6; before-- > 0;)
        ASSERT_NO_FATAL_FAILURE(CompareBehind(kStretch - before, sequence + next));
    }
  }
}

TEST_F(SpecialBytes, ALoneLfBehindACrLfThatEndsABlockBelongsToTheNextLine) {
  const Records records = Read(Write("a;" + std::string(60, 'x') + "\r\n\nb;c\r\n"));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1][0], "\nb");
}

}  // namespace
}  // namespace kestrel
