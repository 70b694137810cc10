#include "platform/base/terminal_text.h"

#include "platform/base/text.h"

namespace kestrel {

bool IsTerminalControl(char32_t code_point) {
  if (code_point < 0x20 || (code_point >= 0x7F && code_point <= 0x9F)) return true;
  return code_point == 0x061C || code_point == 0x200E || code_point == 0x200F ||
         (code_point >= 0x202A && code_point <= 0x202E) || (code_point >= 0x2066 && code_point <= 0x2069);
}

void AppendEscaped(std::string& text, char32_t code_point) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(code_point >> shift) & 15];
}

std::string TerminalText(std::string_view text, TextLayout layout) {
  const std::string valid = RepairUtf8(text);
  std::string shown;
  shown.reserve(valid.size());
  for (std::size_t position = 0; position < valid.size();) {
    const std::size_t start = position;
    const char32_t code_point = NextCodePoint(valid, position);
    const bool line_break = code_point == '\n' || code_point == '\r';
    if (layout == TextLayout::kOneLine && (line_break || code_point == '\t')) {
      shown += ' ';
    } else if (code_point == '\n' || code_point == '\t') {
      shown += static_cast<char>(code_point);
    } else if (code_point == '\r' && valid.compare(position, 1, "\n") == 0) {
      // The line feed says it.
    } else if (IsTerminalControl(code_point)) {
      AppendEscaped(shown, code_point);
    } else {
      shown.append(valid, start, position - start);
    }
  }
  return shown;
}

}  // namespace kestrel
