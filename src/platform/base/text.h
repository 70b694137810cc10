// Text inside the component is UTF-8. Lengths, cuts and positions count characters (code points).
// Bytes of files are converted here, once, at the border. Nothing in this file raises an error other
// than 7 (no memory).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// --- Windows-1252, the ANSI code page -----------------------------------------------------------
// The five bytes the code page leaves free (81, 8D, 8F, 90, 9D hex) stand for U+0081 and so on, both ways.

std::string FromWindows1252(std::string_view bytes);
// Characters the code page lacks become '?'.
std::string ToWindows1252(std::string_view text);
// The code point a byte stands for.
char32_t Windows1252CodePoint(unsigned char byte);
// The byte for a code point, or -1.
int Windows1252Byte(char32_t code_point);

// --- UTF-8 and UTF-16 ---------------------------------------------------------------------------

bool IsValidUtf8(std::string_view bytes);
// Bytes that are not valid UTF-8 are taken as Windows-1252, so that no character is lost.
std::string RepairUtf8(std::string_view bytes);
// Lone surrogates become U+FFFD; an odd last byte is dropped.
std::string FromUtf16(std::string_view bytes, bool big_endian);
void AppendUtf8(std::string& text, char32_t code_point);
// The code point that starts at `position` of valid UTF-8; moves `position` behind it.
char32_t NextCodePoint(std::string_view text, std::size_t& position);

// --- Characters of a text -----------------------------------------------------------------------

std::size_t LengthInCharacters(std::string_view text);
namespace detail {
std::string_view CountedLeft(std::string_view text, std::size_t characters);
}
// The first `characters` characters, as a view into `text`.
inline std::string_view Left(std::string_view text, std::size_t characters) {
  // As many bytes as characters at least: a text no longer than that needs no counting.
  return text.size() <= characters ? text : detail::CountedLeft(text, characters);
}
// `count` characters from the 0-based character `start` on, as a view into `text`; short or empty where
// the text ends earlier.
std::string_view Middle(std::string_view text, std::size_t start, std::size_t count);
// Without leading and trailing blanks (U+0020 only), as a view into `text`.
inline std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}
// Upper case of Latin (Latin-1 and Extended-A), Greek and Cyrillic letters; ß stays.
std::string UpperCase(std::string_view text);
// ASCII letters only; for ProgIDs, member names, section names and SQL words.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

// --- Pieces -------------------------------------------------------------------------------------

// The pieces between separators, as views into `text`: always one more than there are separators, so an
// empty text gives one empty piece.
std::vector<std::string_view> Split(std::string_view text, char separator);
std::string ReplaceAll(std::string_view text, std::string_view what, std::string_view with);

// "Feld" and the 1-based number with at least two digits: the name of a source column without one.
std::string UnnamedColumn(std::size_t number);

}  // namespace kestrel
