#include "platform/base/value_text.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(ValueText, DecimalsGetACommaAndLoseTrailingZeros) {
  EXPECT_EQ(DecimalText("-12.3400"), "-12,34");
  EXPECT_EQ(DecimalText("5.00"), "5");
  EXPECT_EQ(DecimalText("0.10"), "0,1");
  EXPECT_EQ(DecimalText("1200"), "1200");
}

TEST(ValueText, AZeroHasNoSign) {
  EXPECT_EQ(DecimalText("-0.00"), "0");
  EXPECT_EQ(DecimalText("-0"), "0");
  EXPECT_EQ(DecimalText("0.00"), "0");
  EXPECT_EQ(DecimalText("-0.01"), "-0,01");
  EXPECT_EQ(DecimalText("-"), "-");
}

TEST(ValueText, DatesAreGermanAndMidnightIsLeftOut) {
  EXPECT_EQ(IsoDateText("2024-02-29"), "29.02.2024");
  EXPECT_EQ(IsoDateText("2024-02-29 00:00:00"), "29.02.2024");
  EXPECT_EQ(IsoDateText("2024-02-29T13:14:15.123"), "29.02.2024 13:14:15");
}

TEST(ValueText, WhatIsNoIsoDateStaysAsItIs) {
  for (const char* text :
       {"", "2023-02-29", "2024-02-29 25:00:00", "2024-02-29 ", "2024-02-29 10:00", "12:30:00", "29.02.2024",
        "2024-2-9", "2024-02-29 10:00:00.", "2024-02-29 10:00:00x"}) {
    EXPECT_EQ(IsoDateText(text), text);
  }
}

TEST(ValueText, BytesAreHexadecimal) {
  using std::string_view_literals::operator""sv;
  EXPECT_EQ(BytesText("\x00\x7F\xFF"sv), "007FFF");
  EXPECT_EQ(BoolText(true), "Wahr");
  EXPECT_EQ(BoolText(false), "Falsch");
}

}  // namespace kestrel
