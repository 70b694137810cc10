// A small generator of random numbers, the same ones everywhere, as the standard distributions differ between
// libraries.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

class Dice {
 public:
  explicit Dice(std::uint64_t seed = 20240307) : state_(seed) {}
  // From 0 to `sides` - 1.
  std::uint32_t Roll(std::uint32_t sides) {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>(((state_ >> 33) * sides) >> 31);
  }
  bool OneIn(std::uint32_t times) { return Roll(times) == 0; }
  bool Percent(std::uint32_t chance) { return Roll(100) < chance; }
  template <class List>
  const auto& Pick(const List& list) {
    return list[Roll(static_cast<std::uint32_t>(list.size()))];
  }

 private:
  std::uint64_t state_;
};
