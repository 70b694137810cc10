// Texts as wide ODBC calls take them: UTF-16 in the machine's byte order.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::odbc {

std::u16string ToUtf16(std::string_view text);
// Appends; lone surrogates become U+FFFD.
void AppendFromUtf16(std::string& text, std::u16string_view units);

}  // namespace kestrel::odbc
