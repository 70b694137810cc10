#include "platform/base/code_page.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/base/text.h"
#include "support/expect_error.h"

namespace kestrel {

TEST(CodePage, TheGermanLettersInEveryCodePageOfTheLand) {
  EXPECT_EQ(CodePage(437).ToText("\x84\x94\x81\x8E\x99\x9A\xE1"), "äöüÄÖÜß");
  EXPECT_EQ(CodePage(850).ToText("\x84\x94\x81\x8E\x99\x9A\xE1"), "äöüÄÖÜß");
  EXPECT_EQ(CodePage(852).ToText("\x84\x94\x81\x8E\x99\x9A\xE1"), "äöüÄÖÜß");
  EXPECT_EQ(CodePage(1250).ToText("\xE4\xF6\xFC\xC4\xD6\xDC\xDF"), "äöüÄÖÜß");
  EXPECT_EQ(CodePage(1252).ToText("\xE4\xF6\xFC\xC4\xD6\xDC\xDF\x80"), "äöüÄÖÜß€");
}

TEST(CodePage, WhereTheyDiffer) {
  EXPECT_EQ(CodePage(437).ToText("\x9B"), "¢");
  EXPECT_EQ(CodePage(850).ToText("\x9B"), "ø");
  EXPECT_EQ(CodePage(852).ToText("\x9B"), "Ť");
  EXPECT_EQ(CodePage(1250).ToText("\x9D"), "ť");
}

TEST(CodePage, Windows1252AgreesWithTheTextSource) {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(CodePage(1252).ToText(text), FromWindows1252(text)) << byte;
  }
}

TEST(CodePage, CharactersOfSeveralBytes) {
  EXPECT_EQ(CodePage(932).ToText("A\x93\xFA\x96{"), "A日本");
  EXPECT_EQ(CodePage(932).ToText("\x93"), "\uFFFD");
  EXPECT_EQ(CodePage(65001).ToText("Köln \xFC"), "Köln ü");
}

TEST(CodePage, PlainTextIsHandedThroughWithoutACopy) {
  const CodePage page(850);
  const std::string plain = "Hauptstrasse 15, 50667";
  std::string buffer = "unchanged";
  EXPECT_EQ(page.Decode(plain, buffer).data(), plain.data());
  EXPECT_EQ(buffer, "unchanged");
  EXPECT_EQ(page.Decode("Hauptstra\xE1"
                        "e",
                        buffer),
            "Hauptstraße");
}

// Whatever lies behind the text must not show.
TEST(CodePage, ReadingAheadGivesTheSameText) {
  const CodePage page(850);
  std::mt19937 random(7);
  std::string plain, ahead;
  for (int round = 0; round < 5000; ++round) {
    std::string bytes(random() % 60 + CodePage::kRoomBehind, ' ');
    for (char& byte : bytes)
      byte = static_cast<char>(random() % 8 == 0 ? 128 + random() % 128 : 'a' + random() % 26);
    const auto text = std::string_view(bytes).substr(0, bytes.size() - CodePage::kRoomBehind);
    ASSERT_EQ(page.DecodeWithRoom(text, ahead), page.DecodeAll(text, plain)) << bytes;
  }
  EXPECT_EQ(CodePage(65001).DecodeWithRoom(std::string_view("Köln, Markt 1 ........").substr(0, 5), ahead),
            "Köln");
}

TEST(CodePage, AnUnknownNumberIsRefused) {
  EXPECT_FALSE(CodePage::IsKnown(4711));
  EXPECT_ERROR(CodePage(4711), ErrorNumber::kDatabase);
}

}  // namespace kestrel
