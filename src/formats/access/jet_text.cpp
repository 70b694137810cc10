#include "formats/access/jet_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/base/text.h"

namespace kestrel::access {
namespace {

// Whether all bytes are ASCII other than zero.
bool IsPlainAscii(std::string_view bytes) {
  std::size_t i = 0;
  // Eight at a time: the subtraction sets a high bit where a byte is zero (or has its own high bit set).
  for (; i + 8 <= bytes.size(); i += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + i, sizeof word);
    if (((word | (word - 0x0101010101010101U)) & 0x8080808080808080U) != 0) return false;
  }
  return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(i), bytes.end(),
                     [](char byte) { return byte > 0; });
}

void AppendLatin1(std::string& text, std::uint8_t byte) {
  if (byte < 0x80) {
    text += static_cast<char>(byte);
  } else {
    text += static_cast<char>(0xC0 | byte >> 6);
    text += static_cast<char>(0x80 | (byte & 0x3F));
  }
}

std::string_view DecodeShortened(std::string_view bytes, std::string& text) {
  if (IsPlainAscii(bytes)) return bytes;
  text.clear();
  if (bytes.find('\0') == std::string_view::npos) {
    for (const char byte : bytes) AppendLatin1(text, static_cast<std::uint8_t>(byte));
    return text;
  }
  // A pair of surrogates may be cut by the switch, so the UTF-16 is put together first.
  std::string utf16;
  bool shortened = true;
  for (std::size_t i = 0; i < bytes.size();) {
    if (bytes[i] == '\0') {
      shortened = !shortened;
      ++i;
    } else if (shortened) {
      utf16 += bytes[i++];
      utf16 += '\0';
    } else {
      if (i + 2 > bytes.size()) break;
      utf16.append(bytes.substr(i, 2));
      i += 2;
    }
  }
  text = FromUtf16(utf16, false);
  return text;
}

}  // namespace

std::string_view DecodeJet4Text(std::string_view stored, std::string& text) {
  if (stored.starts_with("\xFF\xFE")) return DecodeShortened(stored.substr(2), text);
  text.clear();
  // Most characters are of the first 256: written at once, and the general way only where one is not.
  for (std::size_t i = 0; i + 1 < stored.size(); i += 2) {
    if (stored[i + 1] != '\0') {
      text = FromUtf16(stored, false);
      break;
    }
    AppendLatin1(text, static_cast<std::uint8_t>(stored[i]));
  }
  return text;
}

}  // namespace kestrel::access
