// Text from files, servers and arguments on its way to a terminal, which takes some characters for commands.
#pragma once

#include <string>
#include <string_view>

namespace kestrel {

enum class TextLayout {
  kLines,    // line feeds and tabs stand for themselves
  kOneLine,  // line breaks and tabs are blanks
};

// Whether a terminal obeys the character instead of showing it: the control characters (U+0000 to U+001F and
// U+007F to U+009F) and the marks that turn the direction of writing.
bool IsTerminalControl(char32_t code_point);

// The text with each such character written out, as "\u001b", so that it can be read and does nothing. Bytes
// that are not UTF-8 are taken as Windows-1252. Raises nothing but error 7.
std::string TerminalText(std::string_view text, TextLayout layout = TextLayout::kLines);

// Appends the character as JSON and TerminalText write it out: "\u" and four digits. Below U+10000.
void AppendEscaped(std::string& text, char32_t code_point);

}  // namespace kestrel
