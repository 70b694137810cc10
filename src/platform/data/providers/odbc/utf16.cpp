#include "platform/data/providers/odbc/utf16.h"

#include "platform/base/text.h"

namespace kestrel::odbc {

std::u16string ToUtf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    const char32_t code_point = NextCodePoint(text, position);
    if (code_point < 0x10000) {
      units.push_back(static_cast<char16_t>(code_point));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((code_point - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + ((code_point - 0x10000) & 0x3FF)));
    }
  }
  return units;
}

void AppendFromUtf16(std::string& text, std::u16string_view units) {
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char16_t unit = units[i];
    if (unit < 0x80) {
      text.push_back(static_cast<char>(unit));
    } else if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
               units[i + 1] < 0xE000) {
      ++i;
      AppendUtf8(text, 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (units[i] - 0xDC00));
    } else {
      AppendUtf8(text, unit >= 0xD800 && unit < 0xE000 ? char32_t{0xFFFD} : char32_t{unit});
    }
  }
}

}  // namespace kestrel::odbc
