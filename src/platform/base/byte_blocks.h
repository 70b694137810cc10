// Bytes looked at 64 at a time: bit i of a mask tells about byte i of the block.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kestrel {

inline constexpr std::size_t kBlockSize = 64;

class ByteBlock {
 public:
  // `bytes` need not be aligned; 64 of them are read.
#if defined(__SSE2__)
  explicit ByteBlock(const char* bytes)
      : parts_{Load(bytes), Load(bytes + 16), Load(bytes + 32), Load(bytes + 48)} {}

  // Where the character stands.
  std::uint64_t Equal(char character) const {
    const __m128i wanted = _mm_set1_epi8(character);
    return Join(_mm_cmpeq_epi8(parts_[0], wanted), _mm_cmpeq_epi8(parts_[1], wanted),
                _mm_cmpeq_epi8(parts_[2], wanted), _mm_cmpeq_epi8(parts_[3], wanted));
  }
  // Where a byte beyond ASCII stands.
  std::uint64_t High() const { return Join(parts_[0], parts_[1], parts_[2], parts_[3]); }

 private:
  static __m128i Load(const char* bytes) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)); }
  static std::uint64_t Mask(__m128i bytes) { return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes)); }
  static std::uint64_t Join(__m128i a, __m128i b, __m128i c, __m128i d) {
    return Mask(a) | Mask(b) << 16 | Mask(c) << 32 | Mask(d) << 48;
  }

  __m128i parts_[4];  // std::array would lose the type's alignment attribute
#else
  explicit ByteBlock(const char* bytes) { std::memcpy(bytes_.data(), bytes, kBlockSize); }

  std::uint64_t Equal(char character) const {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < kBlockSize; ++i) mask |= std::uint64_t{bytes_[i] == character} << i;
    return mask;
  }
  std::uint64_t High() const {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < kBlockSize; ++i) {
      mask |= std::uint64_t{static_cast<unsigned char>(bytes_[i]) >= 0x80} << i;
    }
    return mask;
  }

 private:
  std::array<char, kBlockSize> bytes_;
#endif
};

// The lowest set bit alone; none where none is set.
inline std::uint64_t LowestBit(std::uint64_t mask) { return mask & (~mask + 1); }

// The bits below the lowest set one; all of them where none is set.
inline std::uint64_t BitsBelowLowest(std::uint64_t mask) { return ~mask & (mask - 1); }

// Bit i of the result is the parity of bits 0 to i: from quotes to the stretches that they enclose.
inline std::uint64_t PrefixParity(std::uint64_t mask) {
  for (const int shift : {1, 2, 4, 8, 16, 32}) mask ^= mask << shift;
  return mask;
}

// Calls `visit` with the number of each set bit, lowest first.
template <class Visit>
void ForEachBit(std::uint64_t mask, Visit&& visit) {
  for (; mask != 0; mask &= mask - 1) visit(static_cast<std::size_t>(std::countr_zero(mask)));
}

}  // namespace kestrel
