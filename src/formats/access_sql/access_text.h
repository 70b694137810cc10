// How Access compares texts: without case, umlauts included.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::access_sql {

// Dictionary order: letters by their base letter first ("Ähre" stands between "Ahorn" and "Aira"), then by
// their accents; ß is ss; case never counts. Negative, zero or positive.
int CompareText(std::string_view a, std::string_view b);
inline bool EqualText(std::string_view a, std::string_view b) { return CompareText(a, b) == 0; }

// Every letter that has an upper case (text.h) as its lower case.
std::string LowerCase(std::string_view text);

// Access's Like: * any characters, ? one character, # one digit, [abc], [a-z], [!a-z] one of (or none of) a
// list. Case is ignored. With `ansi`, % and _ take the places of * and ?, and # is a character like others.
bool MatchesPattern(std::string_view text, std::string_view pattern, bool ansi);

}  // namespace kestrel::access_sql
