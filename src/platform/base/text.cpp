#include "platform/base/text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kestrel {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Code points of the bytes 80 to 9F; the rest of the code page is Latin-1.
constexpr std::array<char16_t, 32> kWindows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// How many of the eight bytes are.
std::size_t CountContinuations(std::uint64_t bytes) {
  const std::uint64_t found = (bytes & ~(bytes << 1)) >> 7 & 0x0101010101010101U;
  return static_cast<std::size_t>(found * 0x0101010101010101U >> 56);
}

// The length of the well-formed sequence at `position`, 0 where there is none.
std::size_t SequenceLength(std::string_view bytes, std::size_t position) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[position + i]); };
  const std::size_t left = bytes.size() - position;
  const unsigned char first = at(0);
  if (first < 0x80) return 1;
  if (first < 0xC2) return 0;
  if (first < 0xE0) return left >= 2 && IsContinuation(bytes[position + 1]) ? 2 : 0;
  if (first < 0xF0) {
    if (left < 3 || !IsContinuation(bytes[position + 1]) || !IsContinuation(bytes[position + 2])) return 0;
    if (first == 0xE0 && at(1) < 0xA0) return 0;  // overlong
    if (first == 0xED && at(1) > 0x9F) return 0;  // surrogate
    return 3;
  }
  if (first < 0xF5) {
    if (left < 4) return 0;
    for (std::size_t i = 1; i < 4; ++i) {
      if (!IsContinuation(bytes[position + i])) return 0;
    }
    if (first == 0xF0 && at(1) < 0x90) return 0;  // overlong
    if (first == 0xF4 && at(1) > 0x8F) return 0;  // beyond U+10FFFF
    return 4;
  }
  return 0;
}

char32_t UpperCodePoint(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  if (c >= 0xE0 && c <= 0xFE) return c == 0xF7 ? c : c - 32;
  if (c == 0xFF) return 0x178;
  if (c >= 0x100 && c <= 0x17F) {
    if (c == 0x131) return 'I';
    if (c == 0x138 || c == 0x149 || c == 0x17F) return c;
    // Pairs begin at an even code point, but for two runs that begin at an odd one.
    const bool odd_pairs = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    const bool lower = odd_pairs ? c % 2 == 0 : c % 2 == 1;
    return lower ? c - 1 : c;
  }
  if (c >= 0x3B1 && c <= 0x3C9) return c == 0x3C2 ? 0x3A3 : c - 32;
  if (c >= 0x430 && c <= 0x44F) return c - 32;
  if (c >= 0x450 && c <= 0x45F) return c - 80;
  return c;
}

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

char32_t Windows1252CodePoint(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80u] : byte;
}

int Windows1252Byte(char32_t code_point) {
  if (code_point < 0x80 || (code_point >= 0xA0 && code_point < 0x100)) return static_cast<int>(code_point);
  for (std::size_t i = 0; i < kWindows1252High.size(); ++i) {
    if (kWindows1252High[i] == code_point) return static_cast<int>(0x80 + i);
  }
  return -1;
}

std::string FromWindows1252(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char byte : bytes) AppendUtf8(text, Windows1252CodePoint(static_cast<unsigned char>(byte)));
  return text;
}

std::string ToWindows1252(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const int byte = Windows1252Byte(NextCodePoint(text, position));
    bytes.push_back(byte < 0 ? '?' : static_cast<char>(byte));
  }
  return bytes;
}

bool IsValidUtf8(std::string_view bytes) {
  for (std::size_t position = 0; position < bytes.size();) {
    const std::size_t length = SequenceLength(bytes, position);
    if (length == 0) return false;
    position += length;
  }
  return true;
}

std::string RepairUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    const std::size_t length = SequenceLength(bytes, position);
    if (length == 0) {
      AppendUtf8(text, Windows1252CodePoint(static_cast<unsigned char>(bytes[position])));
      ++position;
    } else {
      text.append(bytes, position, length);
      position += length;
    }
  }
  return text;
}

std::string FromUtf16(std::string_view bytes, bool big_endian) {
  const auto unit = [&](std::size_t i) {
    const auto low = static_cast<unsigned char>(bytes[big_endian ? i + 1 : i]);
    const auto high = static_cast<unsigned char>(bytes[big_endian ? i : i + 1]);
    return static_cast<char32_t>(high << 8 | low);
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t c = unit(i);
    if (c >= 0xD800 && c < 0xE000) {
      const bool pair = c < 0xDC00 && i + 3 < bytes.size() && unit(i + 2) >= 0xDC00 && unit(i + 2) < 0xE000;
      if (pair) {
        c = 0x10000 + ((c - 0xD800) << 10) + (unit(i + 2) - 0xDC00);
        i += 2;
      } else {
        c = kReplacement;
      }
    }
    AppendUtf8(text, c);
  }
  return text;
}

void AppendUtf8(std::string& text, char32_t c) {
  if (c < 0x80) {
    text.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    text.push_back(static_cast<char>(0xC0 | c >> 6));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    text.push_back(static_cast<char>(0xE0 | c >> 12));
    text.push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    text.push_back(static_cast<char>(0xF0 | c >> 18));
    text.push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

char32_t NextCodePoint(std::string_view text, std::size_t& position) {
  const std::size_t length = SequenceLength(text, position);
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[position + i]); };
  char32_t c = 0;
  switch (length) {
    case 1: c = at(0); break;
    case 2: c = static_cast<char32_t>((at(0) & 0x1F) << 6 | (at(1) & 0x3F)); break;
    case 3: c = static_cast<char32_t>((at(0) & 0x0F) << 12 | (at(1) & 0x3F) << 6 | (at(2) & 0x3F)); break;
    case 4:
      c = static_cast<char32_t>((at(0) & 0x07) << 18 | (at(1) & 0x3F) << 12 | (at(2) & 0x3F) << 6 |
                                (at(3) & 0x3F));
      break;
    default: ++position; return kReplacement;
  }
  position += length;
  return c;
}

std::size_t LengthInCharacters(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !IsContinuation(byte); }));
}

std::string_view detail::CountedLeft(std::string_view text, std::size_t characters) {
  // Nothing but characters of one byte, which the text has more of.
  if (characters >= sizeof(std::uint64_t) && !IsContinuation(text[characters])) {
    std::uint64_t seen = 0;
    for (std::size_t at = 0; at < characters; at += sizeof seen) {
      std::uint64_t bytes = 0;
      std::memcpy(&bytes, text.data() + std::min(at, characters - sizeof bytes), sizeof bytes);
      seen |= bytes;
    }
    if ((seen & 0x8080808080808080U) == 0) return text.substr(0, characters);
  }
  if (characters == 0) return text.substr(0, 0);
  // What the first byte begins is one, whatever it is; then eight bytes at once while they cannot begin too many.
  --characters;
  std::size_t position = 1;
  for (std::uint64_t bytes; position + sizeof bytes <= text.size() && sizeof bytes <= characters;
       position += sizeof bytes) {
    std::memcpy(&bytes, text.data() + position, sizeof bytes);
    characters -= sizeof bytes - CountContinuations(bytes);
  }
  for (; position < text.size(); ++position) {
    if (IsContinuation(text[position])) continue;
    if (characters == 0) break;
    --characters;
  }
  return text.substr(0, position);
}

std::string_view Middle(std::string_view text, std::size_t start, std::size_t count) {
  text.remove_prefix(Left(text, start).size());
  return Left(text, count);
}

std::string UpperCase(std::string_view text) {
  std::string upper;
  upper.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    AppendUtf8(upper, UpperCodePoint(NextCodePoint(text, position)));
  }
  return upper;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  std::size_t start = 0;
  for (std::size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator, start)) {
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

std::string ReplaceAll(std::string_view text, std::string_view what, std::string_view with) {
  std::string result;
  std::size_t start = 0;
  if (!what.empty()) {
    for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, start)) {
      result.append(text, start, at - start).append(with);
      start = at + what.size();
    }
  }
  result.append(text, start);
  return result;
}

std::string UnnamedColumn(std::size_t number) {
  return (number < 10 ? "Feld0" : "Feld") + std::to_string(number);
}

}  // namespace kestrel
