#include "mapping/shown_value.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

std::string Date(std::string_view text) { return ShownValue(text, FieldKind::kVarchar, true); }
std::string Number(std::string_view text) { return ShownValue(text, FieldKind::kNumeric, false); }

TEST(ShownValue, ADayThatIsReadyToBeStoredIsShownTheGermanWay) {
  EXPECT_EQ(Date("20240229000000"), "29.02.2024");
  EXPECT_EQ(Date("20240229140509"), "29.02.2024 14:05:09");
}

TEST(ShownValue, WhatIsNoSuchDayStandsAsItIs) {
  for (const char* text : {"", "31.02.2024", "20230229000000", "20240229240000", "20240229000060",
                           "2024022900000", "2024022900000x", "202402290000000"}) {
    EXPECT_EQ(Date(text), text);
  }
  EXPECT_EQ(ShownValue("20240229000000", FieldKind::kVarchar, false), "20240229000000") << "no field for dates";
}

TEST(ShownValue, ANumberIsShownAsItIsUnderstood) {
  EXPECT_EQ(Number("1234.50"), "1234,5");
  EXPECT_EQ(Number("1234,50"), "1234,5");
  EXPECT_EQ(Number("1.234,5"), "1234,5");
  EXPECT_EQ(Number("1.234"), "1,234") << "a single separator is the decimal one";
  EXPECT_EQ(Number("007"), "7");
  EXPECT_EQ(Number("-3"), "-3");
}

TEST(ShownValue, WhatANumberWouldNotKeepStandsAsItIs) {
  for (const char* text : {"", "abc", "12345678901234567890"}) EXPECT_EQ(Number(text), text);
  EXPECT_EQ(ShownValue("01067", FieldKind::kVarchar, false), "01067") << "a text is no number";
  EXPECT_EQ(ShownValue("Wahr", FieldKind::kOther, false), "Wahr");
}

}  // namespace
}  // namespace kestrel
