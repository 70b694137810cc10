#include "platform/profile/caseless.h"

#include <algorithm>
#include <cstdint>

#include "platform/base/text.h"

namespace kestrel {
namespace {

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

// FNV-1a over the upper-case bytes. Names are short, so a simple hash does. `all`: the bits that any byte has.
std::size_t HashUpper(std::string_view text, unsigned char& all) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) {
    const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
    hash = (hash ^ static_cast<unsigned char>(upper)) * 0x100000001B3u;
  }
  return static_cast<std::size_t>(hash);
}

}  // namespace

std::size_t CaselessHash::operator()(std::string_view name) const {
  unsigned char all = 0;
  const std::size_t hash = HashUpper(name, all);
  // Nearly every name is ASCII and needs no copy.
  return all < 0x80 ? hash : HashUpper(UpperCase(name), all);
}

bool CaselessEqual::operator()(std::string_view a, std::string_view b) const {
  // Nearly every caller writes a name as its owner does.
  if (a == b || EqualsIgnoringCase(a, b)) return true;
  if (IsAscii(a) || IsAscii(b)) return false;
  return UpperCase(a) == UpperCase(b);
}

}  // namespace kestrel
