#include "sources/line_marks.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kestrel {

namespace {

#if defined(__x86_64__)
__attribute__((target("avx2"))) void MarkLinesByAvx2(const char* bytes, std::size_t blocks, char line_end,
                                                     char qualifier, LineMarks& marks) {
  const __m256i wanted = _mm256_set1_epi8(line_end);
  const __m256i carriage_return = _mm256_set1_epi8('\r');
  const __m256i quote = _mm256_set1_epi8(qualifier);
  __m256i returns = _mm256_setzero_si256();
  __m256i quotes = returns;
  __m256i high = returns;
  for (std::size_t block = 0; block < blocks; ++block, bytes += kBlockSize) {
    const __m256i low_half = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m256i high_half = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + kBlockSize / 2));
    const auto low = static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low_half, wanted)));
    const auto upper = static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high_half, wanted)));
    marks.line_ends[block] = low | std::uint64_t{upper} << (kBlockSize / 2);
    returns = _mm256_or_si256(returns, _mm256_or_si256(_mm256_cmpeq_epi8(low_half, carriage_return),
                                                       _mm256_cmpeq_epi8(high_half, carriage_return)));
    quotes = _mm256_or_si256(
        quotes, _mm256_or_si256(_mm256_cmpeq_epi8(low_half, quote), _mm256_cmpeq_epi8(high_half, quote)));
    high = _mm256_or_si256(high, _mm256_or_si256(low_half, high_half));
  }
  marks.has_return = _mm256_movemask_epi8(returns) != 0;
  marks.has_qualifier = _mm256_movemask_epi8(quotes) != 0;
  marks.has_high = _mm256_movemask_epi8(high) != 0;
}
#endif

}  // namespace

void MarkLines(const char* bytes, std::size_t blocks, char line_end, char qualifier, LineMarks& marks) {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) return MarkLinesByAvx2(bytes, blocks, line_end, qualifier, marks);
#endif
  MarkLinesPlainly(bytes, blocks, line_end, qualifier, marks);
}

void MarkLinesPlainly(const char* bytes, std::size_t blocks, char line_end, char qualifier, LineMarks& marks) {
  marks.has_return = marks.has_qualifier = marks.has_high = false;
  for (std::size_t i = 0; i < blocks; ++i) {
    const ByteBlock block(bytes + i * kBlockSize);
    marks.line_ends[i] = block.Equal(line_end);
    marks.has_return |= block.HasEither('\r', '\r');
    marks.has_qualifier |= block.HasEither(qualifier, qualifier);
    marks.has_high |= block.HasHigh();
  }
}

}  // namespace kestrel
