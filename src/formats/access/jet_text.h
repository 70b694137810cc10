// How Jet 4 stores text.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::access {

// UTF-16 (little endian), or where it starts with FF FE a shortened form: bytes that stand for the
// first 256 characters, with a zero byte switching between these and UTF-16. Lone surrogates become
// U+FFFD. The result is UTF-8 and views `text`, or `stored` itself where that is plain ASCII.
std::string_view DecodeJet4Text(std::string_view stored, std::string& text);

}  // namespace kestrel::access
