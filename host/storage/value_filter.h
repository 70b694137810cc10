// A set of values that answers "certainly not in it" or "perhaps" (a split block Bloom filter). It grows by
// layers, each four times as large as the one before: two bytes of memory for each value of a full layer. Where a
// layer is full, one look-up in 500 or so answers "perhaps" for a value that is not in it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrel::host {

class ValueFilter {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{64} << 20;

  explicit ValueFilter(std::size_t most_bytes = kMostBytes) : most_bytes_(most_bytes) {}

  // `hash` is the value's, all 64 bits alike mixed. False, with nothing added, where the memory is used up.
  bool Add(std::uint64_t hash);
  bool MayContain(std::uint64_t hash) const;
  // Before MayContain of several values, so that the processor fetches their places at the same time.
  void Prefetch(std::uint64_t hash) const;
  // Gives the memory up.
  void Clear() { layers_.clear(); }

 private:
  struct alignas(32) Block {
    std::array<std::uint32_t, 8> words{};
  };
  struct Layer {
    std::vector<Block> blocks;  // a power of two
    std::size_t room;           // how many values it still takes
  };
  static Block BitsOf(std::uint64_t hash);
  static std::size_t PlaceOf(const Layer& layer, std::uint64_t hash) {
    return static_cast<std::size_t>(hash >> 32) & (layer.blocks.size() - 1);
  }
  bool AddLayer();

  std::size_t most_bytes_;
  std::vector<Layer> layers_;
};

}  // namespace kestrel::host
