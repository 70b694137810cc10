#include "platform/base/checksum.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <wmmintrin.h>
#endif

namespace kestrel {

namespace {

// Odd, so that multiplying by it loses nothing; its bits are as mixed as those of the golden ratio.
constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;

std::uint64_t Mix(std::uint64_t sum, std::uint64_t word) { return std::rotl((sum ^ word) * kFactor, 29); }

std::uint64_t WordAt(const char* bytes, std::size_t size) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, size);
  return word;
}

// Continues with `sum`, which stands for the bytes before `bytes`.
std::uint64_t MixWords(std::uint64_t sum, std::string_view bytes) {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  // So many sums run side by side, as a multiplication takes several cycles to finish.
  constexpr std::size_t kLanes = 4;
  std::array<std::uint64_t, kLanes> lanes = {1, 2, 3, 4};
  std::size_t at = 0;
  for (; bytes.size() - at >= kLanes * kWord; at += kLanes * kWord) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      lanes[lane] = Mix(lanes[lane], WordAt(bytes.data() + at + lane * kWord, kWord));
    }
  }
  for (const std::uint64_t lane : lanes) sum = Mix(sum, lane);
  for (; bytes.size() - at >= kWord; at += kWord) sum = Mix(sum, WordAt(bytes.data() + at, kWord));
  return Mix(sum, WordAt(bytes.data() + at, bytes.size() - at));
}

#if defined(__x86_64__)
constexpr std::size_t kAesSums = 8;
constexpr std::size_t kAesStep = 16 * kAesSums;

// The same with a round of AES as the step that mixes 16 bytes and loses nothing, where the processor has one.
// As many bytes as make whole steps; continues with `sum`.
__attribute__((target("aes"))) std::uint64_t MixByAes(std::uint64_t sum, std::string_view bytes) {
  __m128i sums[kAesSums];  // std::array would lose the type's alignment attribute
  for (std::size_t i = 0; i < kAesSums; ++i) sums[i] = _mm_set1_epi64x(static_cast<long long>(i + 1));
  for (std::size_t at = 0; at < bytes.size(); at += kAesStep) {
    const auto* words = reinterpret_cast<const __m128i*>(bytes.data() + at);
    for (std::size_t i = 0; i < kAesSums; ++i) sums[i] = _mm_aesenc_si128(sums[i], _mm_loadu_si128(words + i));
  }
  for (const __m128i part : sums) {
    sum = Mix(sum, static_cast<std::uint64_t>(_mm_cvtsi128_si64(part)));
    sum = Mix(sum, static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(part, part))));
  }
  return sum;
}
#endif

}  // namespace

std::uint64_t ChecksumOf(std::string_view bytes) {
  std::uint64_t sum = Mix(0, bytes.size());
#if defined(__x86_64__)
  if (__builtin_cpu_supports("aes")) {
    const std::size_t whole = bytes.size() / kAesStep * kAesStep;
    sum = MixByAes(sum, bytes.substr(0, whole));
    bytes.remove_prefix(whole);
  }
#endif
  return MixWords(sum, bytes);
}

}  // namespace kestrel
