// Records of a group that are kept until its commit, packed.
#include "storage/kept_records.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <string>
#include <variant>

namespace kestrel::host {
namespace {

using namespace std::string_view_literals;

RecordValues Some(std::int64_t number, std::string_view text) {
  return {number, text, std::monostate(), -0.1, ""sv, std::numeric_limits<std::int64_t>::min()};
}

TEST(KeptRecordsTest, ComeBackAsTheyWere) {
  KeptRecords kept;
  const std::string large(100'000, 'x');
  kept.Add(1, Some(7, "mit \0 und ä"sv), 0, true, false);
  kept.Add(2, Some(8, large), 0, true, true);
  kept.Add(3, Some(9, "drei"), 0, false, false);
  ASSERT_EQ(kept.size(), 3U);
  EXPECT_EQ(kept.ValuesOf(kept[0]), Some(7, "mit \0 und ä"sv));
  EXPECT_EQ(kept.ValuesOf(kept[1]), Some(8, large));
  EXPECT_TRUE(kept[1].is_update);
  // The number was chosen for it, and belongs to that attempt.
  RecordValues third = Some(9, "drei");
  third[0] = std::monostate();
  EXPECT_EQ(kept.ValuesOf(kept[2]), third);
}

TEST(KeptRecordsTest, OfWhichSomeAreGoneLeaveTheOthers) {
  KeptRecords kept;
  for (std::int64_t i = 1; i <= 5; ++i)
    kept.Add(i, Some(i, std::string(static_cast<std::size_t>(i), 'a')), 0, true, false);
  kept.TakeOff(5);
  kept.Remove([](const KeptRecords::Entry& entry) { return entry.record % 2 == 0; });
  kept.Add(6, Some(6, "sechs"), 0, true, false);
  ASSERT_EQ(kept.size(), 3U);
  EXPECT_EQ(kept.ValuesOf(kept[0]), Some(1, "a"));
  EXPECT_EQ(kept.ValuesOf(kept[1]), Some(3, "aaa"));
  EXPECT_EQ(kept.ValuesOf(kept[2]), Some(6, "sechs"));
  kept.Clear();
  EXPECT_EQ(kept.size(), 0U);
  kept.Add(1, Some(1, "neu"), 0, true, false);
  EXPECT_EQ(kept.ValuesOf(kept[0]), Some(1, "neu"));
}

}  // namespace
}  // namespace kestrel::host
