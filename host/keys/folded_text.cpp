#include "keys/folded_text.h"

#include <algorithm>
#include <array>

#include "platform/base/text.h"

namespace kestrel::host {

namespace {

// What U+00C0 to U+00DF and U+0100 to U+017F become; empty for signs.
constexpr std::array<std::string_view, 0x20 + 0x80> kLatin = {
    "A", "A", "A",  "A",  "AE", "A", "AE", "C", "E",  "E", "E", "E", "I",  "I", "I",  "I",   // U+00C0
    "D", "N", "O",  "O",  "O",  "O", "OE", "",  "OE", "U", "U", "U", "UE", "Y", "TH", "SS",  // U+00D0
    "A", "A", "A",  "A",  "A",  "A", "C",  "C", "C",  "C", "C", "C", "C",  "C", "D",  "D",   // U+0100
    "D", "D", "E",  "E",  "E",  "E", "E",  "E", "E",  "E", "E", "E", "G",  "G", "G",  "G",   // U+0110
    "G", "G", "G",  "G",  "H",  "H", "H",  "H", "I",  "I", "I", "I", "I",  "I", "I",  "I",   // U+0120
    "I", "I", "IJ", "IJ", "J",  "J", "K",  "K", "K",  "L", "L", "L", "L",  "L", "L",  "L",   // U+0130
    "L", "L", "L",  "N",  "N",  "N", "N",  "N", "N",  "N", "N", "N", "O",  "O", "O",  "O",   // U+0140
    "O", "O", "OE", "OE", "R",  "R", "R",  "R", "R",  "R", "S", "S", "S",  "S", "S",  "S",   // U+0150
    "S", "S", "T",  "T",  "T",  "T", "T",  "T", "U",  "U", "U", "U", "U",  "U", "U",  "U",   // U+0160
    "U", "U", "U",  "U",  "W",  "W", "Y",  "Y", "Y",  "Z", "Z", "Z", "Z",  "Z", "Z",  "S",   // U+0170
};

// What a code point from U+00C0 to U+017F becomes. The small letters of Latin 1 stand 32 behind the capital ones.
constexpr std::string_view Latin(char32_t code_point) {
  if (code_point == 0xFF) return "Y";
  return kLatin[code_point - (code_point < 0xE0 ? 0xC0 : 0xE0)];
}

constexpr std::array<char, 128> MakeAscii() {
  std::array<char, 128> table{};
  for (std::size_t c = '0'; c <= '9'; ++c) table[c] = static_cast<char>(c);
  for (std::size_t c = 'A'; c <= 'Z'; ++c) {
    table[c] = static_cast<char>(c);
    table[c + 32] = static_cast<char>(c);
  }
  return table;
}
constexpr std::array<char, 128> kAscii = MakeAscii();

// Dashes, quotation marks, the no-break space and the other signs below the letters.
bool IsSign(char32_t code_point) {
  return code_point < 0xC0 || (code_point >= 0x2000 && code_point < 0x2C00) ||
         (code_point >= 0x3000 && code_point < 0x3040);
}

}  // namespace

void AppendFolded(std::string& folded, std::string_view text) {
  // A character becomes no more bytes than it had, and a gap is one that was left out.
  const std::size_t start = folded.size();
  folded.resize(start + text.size());
  char* begin = folded.data() + start;
  char* end = begin;
  bool gap = false;
  const auto begin_letter = [&] {
    if (gap && end != begin) *end++ = ' ';
    gap = false;
  };
  const auto append = [&](std::string_view letters) {
    begin_letter();
    end = std::copy(letters.begin(), letters.end(), end);
  };
  std::size_t position = 0;
  while (position < text.size()) {
    const auto byte = static_cast<unsigned char>(text[position]);
    if (byte < 0x80) {
      ++position;
      if (const char letter = kAscii[byte]; letter != 0) {
        begin_letter();
        *end++ = letter;
      } else {
        gap = true;
      }
      continue;
    }
    const std::size_t first = position;
    const char32_t code_point = NextCodePoint(text, position);
    if (code_point >= 0xC0 && code_point < 0x180 && !Latin(code_point).empty()) {
      append(Latin(code_point));
    } else if (code_point == 0x1E9E) {  // the capital ß
      append("SS");
    } else if (IsSign(code_point) || code_point < 0x180) {
      gap = true;
    } else if (position - first > 1) {
      append(text.substr(first, position - first));
    } else {
      // A byte that begins no character becomes one that stands for those.
      std::string replacement;
      AppendUtf8(replacement, code_point);
      const auto written = end - begin;
      folded.resize(folded.size() + replacement.size());
      begin = folded.data() + start;
      end = begin + written;
      append(replacement);
    }
  }
  folded.resize(static_cast<std::size_t>(end - folded.data()));
}

std::string_view TakeWord(std::string_view& folded) {
  const std::size_t end = folded.find(' ');
  const std::string_view word = folded.substr(0, end);
  folded.remove_prefix(end == std::string_view::npos ? folded.size() : end + 1);
  return word;
}

void AppendStreet(std::string& street, std::string_view folded) {
  for (std::string_view word = TakeWord(folded); !word.empty(); word = TakeWord(folded)) {
    street += word;
    if (word.ends_with("STR")) street += "ASSE";
  }
}

}  // namespace kestrel::host
