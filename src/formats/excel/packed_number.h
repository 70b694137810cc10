// Whole numbers in as few bytes as they need: seven bits a byte, the lowest first; the top bit says that more
// follow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel::excel {

inline constexpr std::size_t kLongestPackedNumber = 10;

inline void AppendPackedNumber(std::string& bytes, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<char>(number | 0x80));
  bytes.push_back(static_cast<char>(number));
}

// Takes a number that AppendPackedNumber wrote off the front of `bytes`.
inline std::uint64_t TakePackedNumber(std::string_view& bytes) {
  std::uint64_t number = 0;
  for (unsigned shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    number |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return number;
  }
}

}  // namespace kestrel::excel
