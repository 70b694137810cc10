#include "platform/base/checksum.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace kestrel {

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);
// So many sums run side by side, as a multiplication takes several cycles to finish.
constexpr std::size_t kLanes = 4;
// Odd, so that multiplying by it loses nothing; its bits are as mixed as those of the golden ratio.
constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;

std::uint64_t Mix(std::uint64_t sum, std::uint64_t word) { return std::rotl((sum ^ word) * kFactor, 29); }

std::uint64_t WordAt(const char* bytes, std::size_t size) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, size);
  return word;
}

}  // namespace

std::uint64_t ChecksumOf(std::string_view bytes) {
  std::array<std::uint64_t, kLanes> lanes = {1, 2, 3, 4};
  std::size_t at = 0;
  for (; bytes.size() - at >= kLanes * kWord; at += kLanes * kWord) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      lanes[lane] = Mix(lanes[lane], WordAt(bytes.data() + at + lane * kWord, kWord));
    }
  }
  std::uint64_t sum = Mix(0, bytes.size());
  for (const std::uint64_t lane : lanes) sum = Mix(sum, lane);
  for (; bytes.size() - at >= kWord; at += kWord) sum = Mix(sum, WordAt(bytes.data() + at, kWord));
  return Mix(sum, WordAt(bytes.data() + at, bytes.size() - at));
}

}  // namespace kestrel
