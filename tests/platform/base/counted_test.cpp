#include "platform/base/counted.h"

#include <gtest/gtest.h>

#include <limits>

namespace kestrel {
namespace {

TEST(Counted, GroupsByThousandsForWindowsOnly) {
  const auto grouped = [](std::int64_t number) { return NumberText(number, Grouping::kThousands); };
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(4580), "4.580");
  EXPECT_EQ(grouped(100000), "100.000");
  EXPECT_EQ(grouped(-999), "-999");
  EXPECT_EQ(grouped(-1234567), "-1.234.567");
  EXPECT_EQ(grouped(std::numeric_limits<std::int64_t>::min()), "-9.223.372.036.854.775.808");
  EXPECT_EQ(NumberText(4580), "4580");
}

TEST(Counted, OneHasItsOwnNoun) {
  EXPECT_EQ(Counted(1, "Datensatz", "Datensätze"), "1 Datensatz");
  EXPECT_EQ(Counted(4580, "Datensatz", "Datensätze"), "4580 Datensätze");
  EXPECT_EQ(Counted(4580, "Datensatz", "Datensätze", Grouping::kThousands), "4.580 Datensätze");
}

}  // namespace
}  // namespace kestrel
