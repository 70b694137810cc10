#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "kestrel/date.h"
#include "platform/base/number.h"

namespace kestrel {
namespace {

TEST(Number, PlainNumbersWithSignAndBlanks) {
  EXPECT_EQ(ParseNumber("42"), 42);
  EXPECT_EQ(ParseNumber("  -7 "), -7);
  EXPECT_EQ(ParseNumber("+3"), 3);
  EXPECT_EQ(ParseNumber("007"), 7);
}

TEST(Number, CommaAndPointAreDecimalSeparators) {
  EXPECT_EQ(ParseNumber("1,5"), 1.5);
  EXPECT_EQ(ParseNumber("1.5"), 1.5);
  EXPECT_EQ(ParseNumber(",5"), 0.5);
  EXPECT_EQ(ParseNumber("5,"), 5);
  EXPECT_EQ(ParseNumber("-0,25"), -0.25);
}

TEST(Number, GroupSeparatorsWhereTheyAreUnambiguous) {
  EXPECT_EQ(ParseNumber("1.234,56"), 1234.56);
  EXPECT_EQ(ParseNumber("1,234.56"), 1234.56);
  EXPECT_EQ(ParseNumber("1.234.567"), 1234567);
  EXPECT_EQ(ParseNumber("12.345.678,9"), 12345678.9);
  EXPECT_EQ(ParseNumber("1.234"), 1.234);  // a single separator is the decimal one
}

TEST(Number, MisplacedSeparatorsMakeNoNumber) {
  for (const char* text :
       {"1.23.456", "12.34,56,7", "1234.567.890", "1.2345,6", "1,23.456,7", ".123,4", "1..2", "1.,2"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

TEST(Number, Exponents) {
  EXPECT_EQ(ParseNumber("1,5E3"), 1500);
  EXPECT_EQ(ParseNumber("2e-2"), 0.02);
  EXPECT_EQ(ParseNumber("1.234,5e+1"), 12345);
  for (const char* text : {"e5", "1e", "1e+", "1e5x", "1e1,5"}) EXPECT_FALSE(IsNumeric(text)) << text;
}

TEST(Number, TooNearToZeroIsZero) {
  const std::string zeros(400, '0');
  for (const std::string& text :
       std::vector<std::string>{"8e-557", "4.e-7521", "-1,5E-400", "0,5e-99999999999999999999",
                                "0," + zeros + "1", "0," + zeros + "1e9", "1" + zeros + "e-800"}) {
    EXPECT_EQ(ParseNumber(text), 0) << text;
    EXPECT_TRUE(IsNumeric(text)) << text;
  }
  for (const std::string& text : std::vector<std::string>{"1" + zeros, "1" + zeros + "e-9",
                                                          "1e99999999999999999999", "0," + zeros + "1e999"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

TEST(Number, WhatIsNoNumber) {
  for (const char* text :
       {"", " ", "-", "+-1", "abc", "12a", "0x1F", "inf", "nan", "1 000", "5 €", ",", "1e999"}) {
    EXPECT_FALSE(IsNumeric(text)) << text;
  }
}

TEST(Number, TheQuestionAgreesWithTheValue) {
  constexpr std::string_view kCharacters = "0123456789,.,.+- eEx";
  std::mt19937 random(11);
  for (int i = 0; i < 200000; ++i) {
    std::string text(random() % 10, ' ');
    for (char& c : text) c = kCharacters[random() % kCharacters.size()];
    ASSERT_EQ(IsNumeric(text), ParseNumber(text).has_value()) << text;
  }
  for (const std::size_t digits : {63u, 64u, 65u, 308u, 309u, 310u, 400u}) {
    for (const char* ending : {"", ",5", "."}) {
      const std::string text = std::string(digits, '9') + ending;
      EXPECT_EQ(IsNumeric(text), ParseNumber(text).has_value()) << text;
    }
  }
}

TEST(Number, DecimalsAreTheNearestDoubles) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 20000; ++i) {
    // Up to 15 digits are divided, more of them read by the library.
    std::string text = std::to_string(random() >> (random() % 64));
    const std::size_t before = text.size();
    text.insert(random() % (text.size() + 1), ".");
    if (random() % 3 == 0) text.insert(0, "-");
    const std::optional<double> value = ParseNumber(text);
    ASSERT_TRUE(value.has_value()) << text;
    ASSERT_EQ(*value, std::strtod(text.c_str(), nullptr)) << text << " of " << before << " digits";
    ASSERT_EQ(std::signbit(*value), text[0] == '-') << text;
  }
}

TEST(Number, APlainDecimalIsTheNumberThatTheFullRuleReads) {
  std::mt19937 random(9);
  constexpr std::string_view kCharacters = "0123456789,.-+";
  int found = 0;
  for (int i = 0; i < 100000; ++i) {
    std::string text;
    for (auto left = random() % 19; left > 0; --left) text += kCharacters[random() % (i % 4 == 0 ? 14 : 11)];
    const std::optional<PlainDecimal> decimal = ReadPlainDecimal(text);
    if (!decimal) continue;
    ++found;
    ASSERT_EQ(ParseNumber(text), ToDouble(*decimal)) << text;
    // An exponent keeps the usual writing from being seen.
    ASSERT_EQ(ParseNumber(text + "E0"), ToDouble(*decimal)) << text;
  }
  EXPECT_GT(found, 10000);
  EXPECT_EQ(ReadPlainDecimal("-12,50")->number, -1250);
  EXPECT_EQ(ReadPlainDecimal("-12,50")->decimals, 2);
  for (const char* text :
       {"", "-", ",", "5,", ",5", " 5", "1,2,3", "1.234,5", "-0,0", "1234567890123456", "1E2", "+-5"}) {
    EXPECT_FALSE(ReadPlainDecimal(text)) << text;
  }
}

TEST(Number, LongNumbersAreReadWhole) {
  EXPECT_EQ(ParseNumber(std::string(100, '0') + "1,5"), 1.5);
  EXPECT_EQ(ParseNumber("9007199254740993,0"), 9007199254740993.0);
}

TEST(Number, ShortestTextReadsBackAsTheSameNumber) {
  EXPECT_EQ(FormatNumber(0.15), "0,15");
  EXPECT_EQ(FormatNumber(1000000), "1000000");
  EXPECT_EQ(FormatNumber(-2.5), "-2,5");
  EXPECT_EQ(FormatNumber(1e300), "1E+300");
  EXPECT_EQ(FormatNumber(-0.0), "0");
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(ParseNumber(FormatNumber(value)), value) << FormatNumber(value);
  }
}

TEST(Number, WholeNumbers) {
  EXPECT_EQ(ParseWholeNumber(" 12 "), 12);
  EXPECT_EQ(ParseWholeNumber("+12"), 12);
  EXPECT_EQ(ParseWholeNumber("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  for (const char* text : {"", "1,0", "9223372036854775808", "+-1", "1x", "+"}) {
    EXPECT_EQ(ParseWholeNumber(text), std::nullopt) << text;
  }
}

TEST(Number, LeadingWholeNumberStopsAtTheFirstOtherCharacter) {
  EXPECT_EQ(LeadingWholeNumber(" 12abc"), 12);
  EXPECT_EQ(LeadingWholeNumber("-3,9"), -3);
  EXPECT_EQ(LeadingWholeNumber("abc"), 0);
  EXPECT_EQ(LeadingWholeNumber("99999999999999999999"), std::numeric_limits<std::int64_t>::max());
}

TEST(Date, OnlyDaysOfTheCalendarAreDates) {
  EXPECT_TRUE(ParseGermanDate("29.02.2024"));
  EXPECT_FALSE(ParseGermanDate("29.02.2023"));
  EXPECT_FALSE(ParseGermanDate("31.04.2024"));
  EXPECT_FALSE(ParseGermanDate("29.02.1900"));
  EXPECT_TRUE(ParseGermanDate("29.02.2000"));
  EXPECT_FALSE(ParseGermanDate("00.01.2024"));
  EXPECT_FALSE(ParseGermanDate("01.13.2024"));
}

TEST(Date, ShortYearsBelowFiftyAreOfThisCentury) {
  EXPECT_EQ(ParseGermanDate("01.02.49"), (CalendarDate{2049, 2, 1}));
  EXPECT_EQ(ParseGermanDate("1.2.50"), (CalendarDate{1950, 2, 1}));
}

TEST(Date, TheUsualFormIsReadAsAnyOther) {
  const auto two = [](int number) {
    return std::string{static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
  };
  for (const char* year : {"0000", "0001", "1900", "1999", "2000", "2023", "2024", "9999", "20x4", "-024"}) {
    for (int month = 0; month < 20; ++month) {
      for (int day = 0; day < 40; ++day) {
        const std::string text = two(day) + "." + two(month) + "." + year;
        ASSERT_EQ(ParseGermanDate(text), ParseGermanDate(" " + text)) << text;
      }
    }
  }
}

TEST(Date, OtherFormsAreNoDates) {
  for (const char* text : {"", "1.2", "1.2.", "1.2.2024.", "2024-02-01", "a.b.c", "001.02.2024", "1.2.024",
                           "-1.2.2024", "1. 2.2024", " 1.02.2024x", "-1.02.2024", "01.02.20 4"}) {
    EXPECT_FALSE(ParseGermanDate(text)) << text;
  }
}

TEST(Date, TextsOfADate) {
  const CalendarDate date{2024, 1, 31};
  EXPECT_EQ(FormatShortDate(date), "31.01.2024");
  EXPECT_EQ(FormatStoredDate(date), "20240131000000");
  EXPECT_EQ(FormatDateTime({date, 0, 0, 0}), "31.01.2024");
  EXPECT_EQ(FormatDateTime({date, 7, 5, 9}), "31.01.2024 07:05:09");
}

}  // namespace
}  // namespace kestrel
