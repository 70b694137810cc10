#include "platform/base/byte_blocks.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace kestrel {
namespace {

TEST(ByteBlock, MasksTellWhereBytesStand) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::array<char, kBlockSize> bytes;
    for (char& byte : bytes)
      byte = static_cast<char>(random() % 3 == 0 ? ';' : static_cast<int>(random() % 256));
    std::uint64_t equal = 0;
    std::uint64_t high = 0;
    for (std::size_t i = 0; i < kBlockSize; ++i) {
      if (bytes[i] == ';') equal |= std::uint64_t{1} << i;
      if (static_cast<unsigned char>(bytes[i]) > 127) high |= std::uint64_t{1} << i;
    }
    const ByteBlock block(bytes.data());
    EXPECT_EQ(block.Equal(';'), equal);
    EXPECT_EQ(block.High(), high);
  }
}

TEST(BitsBelowLowest, AreAllWhereNoneIsSet) {
  EXPECT_EQ(BitsBelowLowest(0), ~std::uint64_t{0});
  EXPECT_EQ(BitsBelowLowest(1), 0U);
  EXPECT_EQ(BitsBelowLowest(0b10100), 0b11U);
}

TEST(PrefixParity, MarksWhatQuotesEnclose) {
  EXPECT_EQ(PrefixParity(0), 0U);
  EXPECT_EQ(PrefixParity(0b10010), 0b01110U);
  std::mt19937_64 random(11);
  for (int round = 0; round < 100; ++round) {
    const std::uint64_t quotes = random() & random();
    std::uint64_t expected = 0;
    bool inside = false;
    for (int bit = 0; bit < 64; ++bit) {
      if ((quotes >> bit & 1) != 0) inside = !inside;
      if (inside) expected |= std::uint64_t{1} << bit;
    }
    EXPECT_EQ(PrefixParity(quotes), expected);
  }
}

TEST(ForEachBit, VisitsEveryBitInOrder) {
  std::vector<std::size_t> visited;
  ForEachBit(std::uint64_t{1} << 63 | 0b101, [&](std::size_t bit) { visited.push_back(bit); });
  EXPECT_EQ(visited, (std::vector<std::size_t>{0, 2, 63}));
}

}  // namespace
}  // namespace kestrel
