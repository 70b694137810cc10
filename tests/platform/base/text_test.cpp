#include "platform/base/text.h"

#include <gmock/gmock.h>

#include <random>

namespace kestrel {
namespace {

using ::testing::ElementsAre;

TEST(Text, EveryWindows1252ByteSurvivesTheRoundTrip) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    EXPECT_EQ(ToWindows1252(FromWindows1252(bytes)), bytes) << byte;
  }
}

TEST(Text, UmlautsAndTheEuroSignAreWindows1252) {
  EXPECT_EQ(FromWindows1252("M\xFCller \x80 \xDF"), "Müller € ß");
  EXPECT_EQ(ToWindows1252("Größe 5 €"),
            "Gr\xF6\xDF"
            "e 5 \x80");
}

TEST(Text, CharactersBeyondWindows1252BecomeQuestionMarks) {
  EXPECT_EQ(ToWindows1252("Łódź"),
            "?\xF3"
            "d?");
}

TEST(Text, LengthsAndCutsCountCharacters) {
  EXPECT_EQ(LengthInCharacters("Größe €"), 7u);
  EXPECT_EQ(Left("Größe", 3), "Grö");
  EXPECT_EQ(Left("Größe", 99), "Größe");
  EXPECT_EQ(Left("", 3), "");
  // Long ones, cut behind and within what is looked at in one go.
  const std::string text = "0123456ä0123456789ABCDEFöx";
  for (std::size_t count = 0; count < text.size(); ++count) {
    std::size_t bytes = count;
    bytes += count > 7 ? 1 : 0;
    bytes += count > 24 ? 1 : 0;
    EXPECT_EQ(Left(text, count), text.substr(0, bytes)) << count;
  }
  EXPECT_EQ(Left("01234567\x80\x80 23", 9), "01234567\x80\x80 ")
      << "stray bytes belong to the character in front";
  EXPECT_EQ(Middle("Größe", 2, 2), "öß");
  EXPECT_EQ(Middle("Größe", 4, 9), "e");
  EXPECT_EQ(Middle("Größe", 9, 1), "");
}

// Character by character; whatever stands first is one.
std::string_view LeftSlowly(std::string_view text, std::size_t characters) {
  std::size_t position = 0;
  for (; characters > 0 && position < text.size(); --characters) {
    ++position;
    while (position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80) ++position;
  }
  return text.substr(0, position);
}

TEST(Text, CutsOfAnyTextAreThoseOfItsCharactersOneByOne) {
  constexpr std::string_view kPieces[] = {"a", "bcdefgh", "ä", "€", "\xF0\x9F\x98\x80", "\x80", " "};
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    std::string text;
    for (auto left = random() % 12; left > 0; --left) text += kPieces[random() % (i % 2 == 0 ? 5 : 7)];
    for (std::size_t count = 0; count <= text.size() + 1; ++count) {
      ASSERT_EQ(Left(text, count), LeftSlowly(text, count)) << count << " of '" << text << "'";
      // Who asks what was cut off looks behind its end.
      ASSERT_EQ(Left(text, count).data(), text.data()) << count;
    }
  }
}

TEST(Text, TrimmingTakesBlanksOnly) {
  EXPECT_EQ(TrimBlanks("  a b "), "a b");
  EXPECT_EQ(TrimBlanks("\ta\t"), "\ta\t");
  EXPECT_EQ(TrimBlanks("   "), "");
}

TEST(Text, UpperCaseKnowsEuropeanLetters) {
  EXPECT_EQ(UpperCase("straße äöü éÿ"), "STRAßE ÄÖÜ ÉŸ");
  EXPECT_EQ(UpperCase("łódź šž ĳ"), "ŁÓDŹ ŠŽ Ĳ");
  EXPECT_EQ(UpperCase("αβς жя ё"), "ΑΒΣ ЖЯ Ё");
  EXPECT_EQ(UpperCase("×÷ 1,5"), "×÷ 1,5");
}

TEST(Text, SplittingGivesOnePieceMoreThanThereAreSeparators) {
  EXPECT_THAT(Split("a;b;;c", ';'), ElementsAre("a", "b", "", "c"));
  EXPECT_THAT(Split("", ';'), ElementsAre(""));
  EXPECT_THAT(Split(";", ';'), ElementsAre("", ""));
}

TEST(Text, ReplacingReplacesEveryOccurrence) {
  EXPECT_EQ(ReplaceAll("\"a\"\"b\"", "\"", ""), "ab");
  EXPECT_EQ(ReplaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
}

TEST(Text, Utf8IsRecognisedStrictly) {
  EXPECT_TRUE(IsValidUtf8("Größe € 😀"));
  EXPECT_FALSE(
      IsValidUtf8("Gr\xF6\xDF"
                  "e"));
  EXPECT_FALSE(IsValidUtf8("\xC0\x80"));          // overlong
  EXPECT_FALSE(IsValidUtf8("\xE0\x9F\xBF"));      // overlong
  EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80"));      // surrogate
  EXPECT_FALSE(IsValidUtf8("\xF4\x90\x80\x80"));  // beyond the last code point
  EXPECT_FALSE(IsValidUtf8("\xE2\x82"));          // cut off
}

TEST(Text, RepairKeepsEveryCharacter) { EXPECT_EQ(RepairUtf8("Größe gr\xFCn"), "Größe grün"); }

TEST(Text, Utf16ReadsBothByteOrdersAndSurrogatePairs) {
  EXPECT_EQ(FromUtf16(std::string_view("\xFC\x00\x3D\xD8\x00\xDE", 6), false), "ü😀");
  EXPECT_EQ(FromUtf16(std::string_view("\x00\xFC\xD8\x3D\xDE\x00", 6), true), "ü😀");
  EXPECT_EQ(FromUtf16(std::string_view("\x3D\xD8\x41\x00\x42", 5), false),
            "\xEF\xBF\xBD"
            "A");
}

TEST(Text, EveryCodePointSurvivesUtf8) {
  std::mt19937 random(1);
  std::uniform_int_distribution<char32_t> any(0, 0x10FFFF);
  for (int i = 0; i < 10000; ++i) {
    const char32_t c = any(random);
    if (c >= 0xD800 && c < 0xE000) continue;
    std::string text;
    AppendUtf8(text, c);
    std::size_t position = 0;
    ASSERT_EQ(NextCodePoint(text, position), c);
    ASSERT_EQ(position, text.size());
    ASSERT_TRUE(IsValidUtf8(text));
  }
}

TEST(Text, UnnamedColumnsHaveAtLeastTwoDigits) {
  EXPECT_EQ(UnnamedColumn(9), "Feld09");
  EXPECT_EQ(UnnamedColumn(10), "Feld10");
  EXPECT_EQ(UnnamedColumn(100), "Feld100");
}

}  // namespace
}  // namespace kestrel
