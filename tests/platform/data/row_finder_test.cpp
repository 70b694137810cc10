#include "platform/data/providers/sqlite/row_finder.h"

#include <gmock/gmock.h>

#include <string>

namespace kestrel::sqlite {

using ::testing::Contains;
using ::testing::IsEmpty;

namespace {

std::vector<std::int64_t> Found(const RowFinder& finder, std::size_t column, std::string_view text) {
  std::vector<std::int64_t> rows;
  finder.Find(column, text, rows);
  return rows;
}

}  // namespace

TEST(RowFinder, FindsEveryRowThatHoldsATextInTheColumn) {
  RowFinder finder;
  for (const std::int64_t id : {std::int64_t{7}, std::int64_t{-3}, std::int64_t{7'000'000'000}}) {
    finder.AddText(finder.AddRow(id), 1, "Köln");
  }
  EXPECT_THAT(Found(finder, 1, "Köln"), ::testing::UnorderedElementsAre(7, -3, 7'000'000'000));
  EXPECT_THAT(Found(finder, 2, "Köln"), IsEmpty());
  EXPECT_THAT(Found(finder, 1, ""), IsEmpty());
  EXPECT_EQ(finder.RowCount(), 3U);
}

TEST(RowFinder, LosesNothingWhileItGrows) {
  constexpr std::int64_t kRows = 200'000;
  RowFinder finder;
  for (std::int64_t id = 0; id < kRows; ++id) {
    const std::uint32_t row = finder.AddRow(id);
    finder.AddText(row, 0, "a" + std::to_string(id));
    finder.AddText(row, 1, "b" + std::to_string(id));
  }
  std::size_t candidates = 0, strange = 0;
  for (std::int64_t id = 0; id < kRows; ++id) {
    const auto rows = Found(finder, 1, "b" + std::to_string(id));
    ASSERT_THAT(rows, Contains(id));
    candidates += rows.size();
    strange += Found(finder, 1, "a" + std::to_string(id)).size();
  }
  // One in some thousand is another row that has the same 32 bits of hash.
  EXPECT_LT(candidates, kRows + kRows / 1000);
  EXPECT_LT(strange, kRows / 1000);
}

}  // namespace kestrel::sqlite
