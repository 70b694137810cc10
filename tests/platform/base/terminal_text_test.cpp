#include "platform/base/terminal_text.h"

#include <gtest/gtest.h>

#include "platform/base/text.h"

namespace kestrel {
namespace {

TEST(TerminalText, WritesOutEveryControlCharacterAndEveryMarkOfDirection) {
  for (char32_t c = 0; c < 0x2100; ++c) {
    std::string text;
    AppendUtf8(text, c);
    std::string escaped;
    AppendEscaped(escaped, c);
    const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool direction = c == 0x61C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
                           (c >= 0x2066 && c <= 0x2069);
    const bool layout = c == '\n' || c == '\t';
    EXPECT_EQ(TerminalText(text), (control || direction) && !layout ? escaped : text) << static_cast<int>(c);
  }
}

TEST(TerminalText, KeepsLinesOrMakesOne) {
  EXPECT_EQ(TerminalText("a\r\nb\rc\td"), "a\nb\\u000dc\td");
  EXPECT_EQ(TerminalText("a\r\nb\tc", TextLayout::kOneLine), "a  b c");
}

TEST(TerminalText, BytesThatAreNotUtf8AreShownToo) {
  EXPECT_EQ(TerminalText("\x9b"
                         "31m\x81 M\xfcller"),
            "›31m\\u0081 Müller");
}

}  // namespace
}  // namespace kestrel
