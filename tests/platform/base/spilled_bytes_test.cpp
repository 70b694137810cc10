#include "platform/base/spilled_bytes.h"

#include <gtest/gtest.h>

#include <random>

namespace kestrel {

TEST(SpilledBytes, GiveBackWhatWasAppendedWhereverItLies) {
  constexpr std::size_t kMemory = 100'000;
  SpilledBytes spilled(kMemory);
  std::string all;
  std::mt19937 random(5);
  const auto compare = [&] {
    const std::size_t offset = random() % (all.size() + 1);
    const std::size_t size = random() % 10 == 0 ? random() % 300'000 : random() % 500;
    ASSERT_EQ(spilled.View(offset, size), std::string_view(all).substr(offset, size)) << offset << ' ' << size;
  };
  while (all.size() < 3'000'000) {
    std::string piece(random() % 5000, '\0');
    for (char& c : piece) c = static_cast<char>(random());
    spilled.Append(piece);
    all += piece;
    ASSERT_EQ(spilled.size(), all.size());
    compare();
  }
  for (int round = 0; round < 2000; ++round) compare();
  for (std::size_t at = 0; at < all.size(); at += 777) {
    ASSERT_EQ(spilled.View(at, 777), std::string_view(all).substr(at, 777));
  }
}

TEST(SpilledBytes, EndAtTheirEnd) {
  SpilledBytes spilled(4);
  EXPECT_EQ(spilled.View(0, 10), "");
  spilled.Append("abcdefgh");
  EXPECT_EQ(spilled.View(2, 100), "cdefgh");
  EXPECT_EQ(spilled.View(8, 1), "");
  EXPECT_EQ(spilled.View(100, 1), "");
}

}  // namespace kestrel
