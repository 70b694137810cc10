#include "sources/line_marks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace kestrel {
namespace {

using Mark = decltype(&MarkLines);

class LineMarksTest : public ::testing::TestWithParam<Mark> {};

TEST_P(LineMarksTest, TellWhatEachByteTells) {
  std::mt19937 random(5);
  const std::string common = "abcdefghijklmnopqrst;;\n\n";
  for (int round = 0; round < 500; ++round) {
    const std::size_t blocks = 1 + random() % LineMarks::kBlocks;
    std::string bytes(blocks * kBlockSize, 'x');
    for (char& byte : bytes) byte = common[random() % common.size()];
    // Each of what is told of the whole stretch stands in some of them at one place, or nowhere.
    for (const char special : {'\r', '"', '\xE4'}) {
      if (random() % 2 == 0) bytes[random() % bytes.size()] = special;
    }
    for (const char line_end : {'\n', '\r'}) {
      LineMarks marks;
      GetParam()(bytes.data(), blocks, line_end, '"', marks);
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        ASSERT_EQ(marks.line_ends[i / kBlockSize] >> i % kBlockSize & 1, bytes[i] == line_end ? 1U : 0U) << i;
      }
      EXPECT_EQ(marks.has_return, bytes.find('\r') != std::string::npos);
      EXPECT_EQ(marks.has_qualifier, bytes.find('"') != std::string::npos);
      EXPECT_EQ(marks.has_high, bytes.find('\xE4') != std::string::npos);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Ways, LineMarksTest, ::testing::Values(&MarkLines, &MarkLinesPlainly));

}  // namespace
}  // namespace kestrel
