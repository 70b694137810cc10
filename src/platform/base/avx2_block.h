// What byte_blocks.h tells of a block, by instructions that most processors have, and the same by those that all
// have. An algorithm over blocks is a template that is always inlined, with either of them as `Block`, into a
// function for each: that for Avx2Block is marked KESTREL_FOR_AVX2 and called only where HasAvx2().
#pragma once

#include "platform/base/byte_blocks.h"

#if defined(__x86_64__)
#include <immintrin.h>

#define KESTREL_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt,pclmul")))
#define KESTREL_FOR_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt,pclmul"), flatten))
#endif

namespace kestrel {

struct PlainBlock : ByteBlock {
  using ByteBlock::ByteBlock;

  static std::uint64_t Parity(std::uint64_t mask) { return PrefixParity(mask); }
  // The bits of `mask` that stand where `places` has ones, close together from bit 0 on.
  static std::uint64_t Extract(std::uint64_t mask, std::uint64_t places) {
    std::uint64_t bits = 0;
    for (int at = 0; (mask & places) != 0; places &= places - 1, ++at) {
      const std::uint64_t place = LowestBit(places);
      bits |= std::uint64_t{(mask & place) != 0} << at;
      mask &= ~place;
    }
    return bits;
  }
};

#if defined(__x86_64__)
class Avx2Block {
 public:
  KESTREL_AVX2 explicit Avx2Block(const char* bytes)
      : low_(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes))),
        high_(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + kBlockSize / 2))) {}

  KESTREL_AVX2 std::uint64_t Equal(char character) const {
    const __m256i wanted = _mm256_set1_epi8(character);
    return Join(_mm256_cmpeq_epi8(low_, wanted), _mm256_cmpeq_epi8(high_, wanted));
  }
  KESTREL_AVX2 std::uint64_t High() const { return Join(low_, high_); }

  KESTREL_AVX2 std::uint64_t Between(char first, char last) const {
    const __m256i below = _mm256_set1_epi8(static_cast<char>(first - 1));
    const __m256i above = _mm256_set1_epi8(static_cast<char>(last + 1));
    return Join(_mm256_and_si256(_mm256_cmpgt_epi8(low_, below), _mm256_cmpgt_epi8(above, low_)),
                _mm256_and_si256(_mm256_cmpgt_epi8(high_, below), _mm256_cmpgt_epi8(above, high_)));
  }

  KESTREL_AVX2 static std::uint64_t Parity(std::uint64_t mask) {
    const __m128i all = _mm_set1_epi8(-1);
    const __m128i product = _mm_clmulepi64_si128(_mm_cvtsi64_si128(static_cast<long long>(mask)), all, 0);
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(product));
  }
  KESTREL_AVX2 static std::uint64_t Extract(std::uint64_t mask, std::uint64_t places) {
    return _pext_u64(mask, places);
  }

 private:
  KESTREL_AVX2 static std::uint64_t Join(const __m256i& low, const __m256i& high) {
    const auto upper = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(low)) | std::uint64_t{upper} << (kBlockSize / 2);
  }

  __m256i low_, high_;
};

inline bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                          __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt") &&
                          __builtin_cpu_supports("pclmul");
  return has;
}
#endif

}  // namespace kestrel
