// Bytes looked at up to 64 at a time: bit i of a mask tells about byte i of the block.
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

// `size`: 16, 32 or 64 bytes. The masks' bits beyond it are 0.
template <std::size_t size>
class ByteBlockOf {
  static_assert(size == 16 || size == 32 || size == 64);

 public:
  // `bytes` need not be aligned; `size` of them are read.
#if defined(__SSE2__)
  explicit ByteBlockOf(const char* bytes) {
    for (std::size_t i = 0; i < kParts; ++i) {
      parts_[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 16 * i));
    }
  }

  // Where the character stands.
  std::uint64_t Equal(char character) const {
    const __m128i wanted = _mm_set1_epi8(character);
    return Join([&](__m128i part) { return _mm_cmpeq_epi8(part, wanted); });
  }
  // Where a byte beyond ASCII stands.
  std::uint64_t High() const {
    return Join([](__m128i part) { return part; });
  }
  // Whether either character stands anywhere, for less than two masks cost.
  bool HasEither(char one, char other) const {
    const __m128i first = _mm_set1_epi8(one);
    const __m128i second = _mm_set1_epi8(other);
    __m128i any = _mm_setzero_si128();
    for (const __m128i part : parts_) {
      any = _mm_or_si128(any, _mm_or_si128(_mm_cmpeq_epi8(part, first), _mm_cmpeq_epi8(part, second)));
    }
    return _mm_movemask_epi8(any) != 0;
  }
  // Whether a byte beyond ASCII stands anywhere.
  bool HasHigh() const {
    __m128i any = parts_[0];
    for (const __m128i part : parts_) any = _mm_or_si128(any, part);
    return _mm_movemask_epi8(any) != 0;
  }
  // Where one of the characters from `first` to `last` stands: both ASCII, or both from 0xC0 on.
  std::uint64_t Between(char first, char last) const {
    const __m128i low = _mm_set1_epi8(static_cast<char>(first - 1));
    const __m128i high = _mm_set1_epi8(static_cast<char>(last + 1));
    return Join(
        [&](__m128i part) { return _mm_and_si128(_mm_cmpgt_epi8(part, low), _mm_cmpgt_epi8(high, part)); });
  }
  // Writes the bytes.
  void Store(char* out) const {
    for (std::size_t i = 0; i < kParts; ++i) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * i), parts_[i]);
    }
  }

 private:
  static constexpr std::size_t kParts = size / 16;
  // One bit of each byte, the highest, of what `change` makes of the parts.
  template <class Change>
  std::uint64_t Join(Change&& change) const {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < kParts; ++i) {
      mask |= std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(change(parts_[i])))} << (16 * i);
    }
    return mask;
  }

  __m128i parts_[kParts];  // std::array would lose the type's alignment attribute
#else
  explicit ByteBlockOf(const char* bytes) { std::memcpy(bytes_.data(), bytes, size); }

  std::uint64_t Equal(char character) const {
    return Where([&](char c) { return c == character; });
  }
  std::uint64_t High() const {
    return Where([](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  }
  bool HasEither(char one, char other) const { return (Equal(one) | Equal(other)) != 0; }
  bool HasHigh() const { return High() != 0; }
  std::uint64_t Between(char first, char last) const {
    return Where([&](char c) { return c >= first && c <= last; });
  }
  void Store(char* out) const { std::memcpy(out, bytes_.data(), size); }

 private:
  template <class Ask>
  std::uint64_t Where(Ask&& ask) const {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < size; ++i) mask |= std::uint64_t{ask(bytes_[i])} << i;
    return mask;
  }

  std::array<char, size> bytes_;
#endif
};

using ByteBlock = ByteBlockOf<kBlockSize>;

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
