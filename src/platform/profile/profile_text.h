// The layers between the bytes of a profile file and its entries: encoding, lines, and what a line is.
#pragma once

#include <string>
#include <string_view>

namespace kestrel {

// --- Encoding -----------------------------------------------------------------------------------

enum class ProfileEncoding { kWindows1252, kUtf8, kUtf8WithMark };

struct ProfileText {
  std::string text;  // UTF-8, without a byte order mark
  // How to write it again. A UTF-16 file (an editor's "Unicode") is understood, and written as UTF-8 with a
  // mark, which every reader here understands.
  ProfileEncoding encoding = ProfileEncoding::kWindows1252;
};

ProfileText DecodeProfile(std::string_view bytes);

// The bytes to write. Characters that Windows-1252 lacks become '?'. Windows-1252 bytes that would be taken
// for UTF-8 when read again are written as UTF-8 with a mark instead, so that every text reads back as itself.
std::string EncodeProfile(const ProfileText& text);

// --- Lines --------------------------------------------------------------------------------------

struct ProfileLine {
  std::string_view text;
  std::string_view end;  // "\r\n", "\n" or "\r"; empty for a last line without one
};

// Takes the first line off `rest`, which must not be empty.
ProfileLine TakeLine(std::string_view& rest);

enum class LineKind {
  kOther,    // blank, comment, or without "="
  kSection,  // "[name]"; what follows the last "]" is ignored
  kEntry,    // "key=value"; the key may be empty
};

// Views into the line that was parsed.
struct ParsedLine {
  LineKind kind = LineKind::kOther;
  std::string_view name;   // of the section, or the key
  std::string_view value;  // of an entry, quotes in place
};

// A NUL character ends the text of its line, as it always did in files of this kind.
ParsedLine ParseLine(std::string_view line);

// Without blanks and tabs at both ends.
std::string_view TrimProfileBlanks(std::string_view text);

}  // namespace kestrel
