#include "storage/value_filter.h"

namespace kestrel::host {

namespace {

constexpr std::size_t kFirstBlocks = 16384;
constexpr std::size_t kGrowth = 4;
constexpr std::size_t kValuesABlock = 16;

}  // namespace

// One bit a word, chosen by the upper five bits of a product of its own.
ValueFilter::Block ValueFilter::BitsOf(std::uint64_t hash) {
  constexpr std::array<std::uint32_t, 8> kOddFactors = {0x47b6137b, 0x44974d91, 0x8824ad5b, 0xa2b7289d,
                                                        0x705495c7, 0x2df1424b, 0x9efc4947, 0x5c6bfb31};
  const auto low = static_cast<std::uint32_t>(hash);
  Block bits;
  for (std::size_t i = 0; i < bits.words.size(); ++i) {
    bits.words[i] = std::uint32_t{1} << ((low * kOddFactors[i]) >> 27);
  }
  return bits;
}

bool ValueFilter::AddLayer() {
  std::size_t used = 0;
  for (const Layer& layer : layers_) used += layer.blocks.size() * sizeof(Block);
  const std::size_t count = layers_.empty() ? kFirstBlocks : layers_.back().blocks.size() * kGrowth;
  if (used + count * sizeof(Block) > most_bytes_) return false;
  layers_.push_back({std::vector<Block>(count), count * kValuesABlock});
  return true;
}

bool ValueFilter::Add(std::uint64_t hash) {
  if ((layers_.empty() || layers_.back().room == 0) && !AddLayer()) return false;
  Layer& layer = layers_.back();
  --layer.room;
  Block& block = layer.blocks[PlaceOf(layer, hash)];
  const Block bits = BitsOf(hash);
  for (std::size_t i = 0; i < bits.words.size(); ++i) block.words[i] |= bits.words[i];
  return true;
}

void ValueFilter::Prefetch(std::uint64_t hash) const {
  for (const Layer& layer : layers_) __builtin_prefetch(&layer.blocks[PlaceOf(layer, hash)]);
}

bool ValueFilter::MayContain(std::uint64_t hash) const {
  const Block bits = BitsOf(hash);
  for (const Layer& layer : layers_) {
    const Block& block = layer.blocks[PlaceOf(layer, hash)];
    std::uint32_t lacking = 0;
    for (std::size_t i = 0; i < bits.words.size(); ++i) lacking |= bits.words[i] & ~block.words[i];
    if (lacking == 0) return true;
  }
  return false;
}

}  // namespace kestrel::host
