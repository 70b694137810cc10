#include "mapping/value_conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "kestrel/date.h"
#include "kestrel/runtime_error.h"

namespace kestrel {
namespace {

using ::testing::Eq;
using ::testing::Optional;

std::optional<std::string> Converted(std::string_view value, std::string_view format) {
  const DatePattern* pattern = FindDatePattern(format);
  if (pattern == nullptr) return std::nullopt;
  StoredDate stored;
  if (!ConvertDate(value, *pattern, stored)) return std::nullopt;
  std::string text(stored.text.begin(), stored.text.end());
  EXPECT_EQ(text, std::to_string(stored.day / 10000 + 10000).substr(1) +
                      std::to_string(stored.day % 10000 + 10000).substr(1) + "000000");
  return text;
}

// --- Kinds of fields ----------------------------------------------------------------------------

TEST(FieldKind, IsReadWithoutCase) {
  EXPECT_EQ(KindOfField("INT"), FieldKind::kNumeric);
  EXPECT_EQ(KindOfField("Int"), FieldKind::kNumeric);
  EXPECT_EQ(KindOfField("float"), FieldKind::kNumeric);
  EXPECT_EQ(KindOfField("varchar"), FieldKind::kVarchar);
  EXPECT_EQ(KindOfField("Text"), FieldKind::kText);
}

TEST(FieldKind, OfAnyOtherTypeIsOther) {
  EXPECT_EQ(KindOfField(""), FieldKind::kOther);
  EXPECT_EQ(KindOfField("DATETIME"), FieldKind::kOther);
  EXPECT_EQ(KindOfField(" INT"), FieldKind::kOther);
  EXPECT_EQ(KindOfField("INTEGER"), FieldKind::kOther);
}

// --- Value check --------------------------------------------------------------------------------

TEST(ValueCheck, AnEmptyValuePassesForEveryType) {
  for (const FieldKind kind : {FieldKind::kNumeric, FieldKind::kVarchar, FieldKind::kText, FieldKind::kOther}) {
    EXPECT_TRUE(IsCompatible("", kind));
  }
}

TEST(ValueCheck, OnlyNumbersPassForNumericFields) {
  EXPECT_TRUE(IsCompatible("12", FieldKind::kNumeric));
  EXPECT_TRUE(IsCompatible("-1.234,5", FieldKind::kNumeric));
  EXPECT_FALSE(IsCompatible("abc", FieldKind::kNumeric));
  EXPECT_FALSE(IsCompatible("12 Stück", FieldKind::kNumeric));
  EXPECT_FALSE(IsCompatible("  ", FieldKind::kNumeric));
}

TEST(ValueCheck, EveryValuePassesForOtherTypes) {
  EXPECT_TRUE(IsCompatible("abc", FieldKind::kVarchar));
  EXPECT_TRUE(IsCompatible("abc", FieldKind::kText));
  EXPECT_TRUE(IsCompatible("abc", FieldKind::kOther));
}

// --- Writing rule -------------------------------------------------------------------------------

TEST(WritingRule, AnEmptyValueIsNotWrittenIntoNumericFields) {
  EXPECT_EQ(ShapeByType("", FieldKind::kNumeric, 10), std::nullopt);
}

TEST(WritingRule, ANumberIsWrittenAsItStands) {
  EXPECT_THAT(ShapeByType(" 1.234,50 ", FieldKind::kNumeric, 2), Optional(Eq(" 1.234,50 ")));
}

TEST(WritingRule, VarcharIsCutFirstAndTrimmedThen) {
  EXPECT_THAT(ShapeByType("  abcdef", FieldKind::kVarchar, 3), Optional(Eq("a")));
}

TEST(WritingRule, VarcharIsCutByCharactersNotBytes) {
  EXPECT_THAT(ShapeByType("Müßöäü", FieldKind::kVarchar, 3), Optional(Eq("Müß")));
}

TEST(WritingRule, VarcharOfSizeZeroWritesTheEmptyText) {
  EXPECT_THAT(ShapeByType("abc", FieldKind::kVarchar, 0), Optional(Eq("")));
}

TEST(WritingRule, VarcharOfNegativeSizeIsAnInvalidCall) {
  try {
    ShapeByType("abc", FieldKind::kVarchar, -1);
    FAIL() << "no error";
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kInvalidProcedureCall));
  }
}

TEST(WritingRule, TextIsTrimmedAndNotCut) {
  EXPECT_THAT(ShapeByType("  abc def ", FieldKind::kText, 3), Optional(Eq("abc def")));
}

TEST(WritingRule, OtherTypesAreWrittenAsTheyStand) {
  EXPECT_THAT(ShapeByType("  abcdef ", FieldKind::kOther, 3), Optional(Eq("  abcdef ")));
}

TEST(WritingRule, OnlyBlanksAreTrimmed) {
  EXPECT_THAT(ShapeByType(" \tabc\t ", FieldKind::kText, 0), Optional(Eq("\tabc\t")));
}

// --- Translated values --------------------------------------------------------------------------

TEST(TranslatedValue, IsCutForVarcharInLowerCaseOnly) {
  EXPECT_THAT(ShapeTranslated("abcdef", "varchar", 3), Optional(Eq("abc")));
  EXPECT_THAT(ShapeTranslated("abcdef", "VARCHAR", 3), Optional(Eq("abcdef")));
  EXPECT_THAT(ShapeTranslated("abcdef", "Varchar", 3), Optional(Eq("abcdef")));
}

TEST(TranslatedValue, IsNeverTrimmed) {
  EXPECT_THAT(ShapeTranslated(" abcdef", "varchar", 4), Optional(Eq(" abc")));
  EXPECT_THAT(ShapeTranslated(" a ", "TEXT", 4), Optional(Eq(" a ")));
}

TEST(TranslatedValue, OfNothingIsNotWrittenIntoNumericFields) {
  EXPECT_EQ(ShapeTranslated("", "INT", 4), std::nullopt);
  EXPECT_THAT(ShapeTranslated("", "VARCHAR", 4), Optional(Eq("")));
}

// --- Dates --------------------------------------------------------------------------------------

TEST(DateRule, ReadsEachOfTheEightFormats) {
  EXPECT_EQ(Converted("31.01.2024", "tt.mm.jjjj"), "20240131000000");
  EXPECT_EQ(Converted("31.01.24", "tt.mm.jj"), "20240131000000");
  EXPECT_EQ(Converted("31012024", "ttmmjjjj"), "20240131000000");
  EXPECT_EQ(Converted("310124", "ttmmjj"), "20240131000000");
  EXPECT_EQ(Converted("2024.01.31", "jjjj.mm.tt"), "20240131000000");
  EXPECT_EQ(Converted("24.01.31", "jj.mm.tt"), "20240131000000");
  EXPECT_EQ(Converted("20240131", "jjjjmmtt"), "20240131000000");
  EXPECT_EQ(Converted("240131", "jjmmtt"), "20240131000000");
}

TEST(DateRule, TwoDigitYearsBelow50AreOfThisCentury) {
  EXPECT_EQ(Converted("01.02.49", "tt.mm.jj"), "20490201000000");
  EXPECT_EQ(Converted("01.02.50", "tt.mm.jj"), "19500201000000");
  EXPECT_EQ(Converted("010200", "ttmmjj"), "20000201000000");
  EXPECT_EQ(Converted("99.02.01", "jj.mm.tt"), "19990201000000");
}

TEST(DateRule, ReadsYearMonthDayWithoutSeparators) {
  EXPECT_EQ(Converted("991231", "jjmmtt"), "19991231000000");
}

TEST(DateRule, AValueOfTheWrongLengthIsNotConverted) {
  EXPECT_EQ(Converted("9912310", "jjmmtt"), std::nullopt);
  EXPECT_EQ(Converted("1.2.2024", "tt.mm.jjjj"), std::nullopt);
  EXPECT_EQ(Converted("", "jjmmtt"), std::nullopt);
}

TEST(DateRule, ADayThatDoesNotExistIsNotConverted) {
  EXPECT_EQ(Converted("31.02.2024", "tt.mm.jjjj"), std::nullopt);
  EXPECT_EQ(Converted("29022023", "ttmmjjjj"), std::nullopt);
  EXPECT_EQ(Converted("29022024", "ttmmjjjj"), "20240229000000");
  EXPECT_EQ(Converted("241301", "jjmmtt"), std::nullopt);
  EXPECT_EQ(Converted("000000", "jjmmtt"), std::nullopt);
}

TEST(DateRule, TextThatIsNoDateIsNotConverted) {
  EXPECT_EQ(Converted("unbekannt!", "tt.mm.jjjj"), std::nullopt);
  EXPECT_EQ(Converted("ab.cd.ef", "tt.mm.jj"), std::nullopt);
}

TEST(DateRule, SeparatorsOfSplitFormatsMayBeAnyCharacter) {
  EXPECT_EQ(Converted("31-01-24", "tt.mm.jj"), "20240131000000");
  EXPECT_EQ(Converted("31ü01ü24", "tt.mm.jj"), "20240131000000") << "positions count characters";
  EXPECT_EQ(Converted("2024/01/31", "jjjj.mm.tt"), "20240131000000");
}

TEST(DateRule, TheWholeValueIsReadForTheLongGermanFormat) {
  EXPECT_EQ(Converted("1.2.2024  ", "tt.mm.jjjj"), "20240201000000");
  EXPECT_EQ(Converted("31-01-2024", "tt.mm.jjjj"), std::nullopt);
}

// Most dates take a short way: it gives what reading the whole value gives.
TEST(DateRule, TheUsualWritingIsStoredAsItsDayIs) {
  std::mt19937 random(7);
  const DatePattern& pattern = *FindDatePattern("tt.mm.jjjj");
  int days = 0;
  for (int i = 0; i < 40000; ++i) {
    std::string value = "00.00.0000";
    for (char& c : value) {
      if (c == '0') c = static_cast<char>('0' + random() % 10);
    }
    if (i % 2 == 0)
      value[0] = static_cast<char>('0' + random() % 4), value[3] = static_cast<char>('0' + random() % 2);
    if (i % 5 == 0) value[random() % value.size()] = " .,:x/\xC4"[random() % 7];
    const std::optional<CalendarDate> day = ReadDate(value, pattern);
    days += day ? 1 : 0;
    EXPECT_EQ(Converted(value, "tt.mm.jjjj"), day ? std::optional(FormatStoredDate(*day)) : std::nullopt)
        << value;
  }
  EXPECT_GT(days, 5000);
}

TEST(DateRule, FormatsAreComparedExactly) {
  EXPECT_EQ(FindDatePattern(""), nullptr);
  EXPECT_EQ(FindDatePattern("TT.MM.JJJJ"), nullptr);
  EXPECT_EQ(FindDatePattern("yyyy-mm-dd"), nullptr);
}

// --- The type mismatch --------------------------------------------------------------------------

TEST(TypeMismatch, NamesFieldAndValueAndLeavesTheBracketOpen) {
  EXPECT_EQ(TypeMismatchText("Rabatt", "abc"),
            "Eine Typen Unverträglichkeit wurde im Modul ImportStart festgestellt. Ein alphanumerischer Wert "
            "kann nicht in ein numerisches Feld geschrieben werden. (Rabatt / abc");
}

}  // namespace
}  // namespace kestrel
