#include "sources/utf8_check.h"

#include <algorithm>
#include <bit>

#include "platform/base/avx2_block.h"

namespace kestrel {

namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The length in bytes of the UTF-8 character at `bytes`, whose first byte is beyond ASCII; 0 where it is
// not valid. Reads at most 3 bytes behind the first.
std::size_t Utf8Length(const char* bytes) {
  const auto byte = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char first = byte(0);
  if (first < 0xC2 || first > 0xF4) return 0;
  if (!IsContinuation(bytes[1])) return 0;
  if (first < 0xE0) return 2;
  // No longer form than needed, no surrogate, nothing beyond U+10FFFF.
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) > 0x9F) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) > 0x8F) return 0;
  if (!IsContinuation(bytes[2])) return 0;
  if (first < 0xF0) return 3;
  return IsContinuation(bytes[3]) ? 4 : 0;
}

}  // namespace

template <class Block>
[[gnu::always_inline]] inline void Utf8Check::LookBy(const char* bytes, std::size_t position,
                                                     std::size_t size) {
  for (std::size_t at = 0; at < size && valid_; at += kBlockSize) {
    const Block block(bytes + at);
    const std::size_t left = size - at;
    const std::uint64_t within = left < kBlockSize ? (std::uint64_t{1} << left) - 1 : ~std::uint64_t{0};
    const std::uint64_t high = block.High() & within;
    if (high == 0) continue;
    beyond_ascii_ = true;
    // In most languages of Europe each character beyond ASCII has two bytes: one of 0xC2 to 0xDF, and a second.
    const std::size_t begin = position + at;
    const std::uint64_t firsts = block.Between('\xC2', '\xDF');
    const std::uint64_t seconds = block.High() & ~block.Between('\xC0', '\xFF');
    const std::uint64_t expected = firsts << 1 | std::uint64_t{character_end_ > begin};
    const bool goes_on = firsts >> 63 != 0;
    if (left >= kBlockSize && character_end_ <= begin + 1 && (firsts | seconds) == high &&
        expected == seconds && (!goes_on || IsContinuation(bytes[at + kBlockSize]))) {
      if (goes_on) character_end_ = begin + kBlockSize + 1;
    } else {
      LookAtEach(bytes + at, begin, high);
    }
  }
}

void Utf8Check::LookAtEach(const char* block, std::size_t position, std::uint64_t high) {
  for (; high != 0; high &= high - 1) {
    const auto bit = static_cast<std::size_t>(std::countr_zero(high));
    if (position + bit < character_end_) continue;
    const std::size_t length = Utf8Length(block + bit);
    if (length == 0) {
      valid_ = false;
      return;
    }
    character_end_ = position + bit + length;
  }
}

#if defined(__x86_64__)
namespace {

struct Evidence {
  bool has_high;
  // Every byte beyond ASCII is the first or the second of a character of two bytes. A first one may stand at the end;
  // one may also stand directly before `bytes`.
  bool has_only_pairs;
};

// As signed numbers, second bytes are below -64, and first ones from -62 to -33.
KESTREL_AVX2 inline __m256i FirstBytes(const __m256i& bytes) {
  return _mm256_and_si256(_mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(-63)),
                          _mm256_cmpgt_epi8(_mm256_set1_epi8(-32), bytes));
}

KESTREL_FOR_AVX2 Evidence LookForPairs(const char* bytes, std::size_t size) {
  __m256i high = _mm256_setzero_si256();
  __m256i wrong = high;
  for (const char* const end = bytes + size; bytes < end; bytes += sizeof(__m256i)) {
    const __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m256i before = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes - 1));
    const __m256i second = _mm256_cmpgt_epi8(_mm256_set1_epi8(-64), here);
    // The highest bits tell; those of `here` tell what is beyond ASCII.
    wrong = _mm256_or_si256(wrong, _mm256_xor_si256(second, FirstBytes(before)));
    wrong = _mm256_or_si256(wrong, _mm256_xor_si256(here, _mm256_or_si256(second, FirstBytes(here))));
    high = _mm256_or_si256(high, here);
  }
  return {_mm256_movemask_epi8(high) != 0, _mm256_movemask_epi8(wrong) == 0};
}

}  // namespace

KESTREL_FOR_AVX2 void Utf8Check::LookByAvx2(const char* bytes, std::size_t position, std::size_t size) {
  // The first block tells of the character that reaches into it; what is no whole block stands at the text's end.
  const std::size_t first = std::min(size, kBlockSize);
  LookBy<Avx2Block>(bytes, position, first);
  bytes += first, position += first, size -= first;
  const std::size_t whole = size / kBlockSize * kBlockSize;
  if (whole != 0 && valid_ && character_end_ <= position + 1) {
    const Evidence evidence = LookForPairs(bytes, whole);
    const bool goes_on = static_cast<unsigned char>(bytes[whole - 1]) >= 0xC0;
    if (evidence.has_only_pairs && (!goes_on || IsContinuation(bytes[whole]))) {
      beyond_ascii_ |= evidence.has_high;
      if (goes_on) character_end_ = position + whole + 1;
      bytes += whole, position += whole, size -= whole;
    }
  }
  LookBy<Avx2Block>(bytes, position, size);
}
#endif

void Utf8Check::Look(const char* bytes, std::size_t position, std::size_t size) {
#if defined(__x86_64__)
  if (HasAvx2()) return LookByAvx2(bytes, position, size);
#endif
  LookPlainly(bytes, position, size);
}

void Utf8Check::LookPlainly(const char* bytes, std::size_t position, std::size_t size) {
  LookBy<PlainBlock>(bytes, position, size);
}

}  // namespace kestrel
