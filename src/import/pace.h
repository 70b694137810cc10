// When it is time to draw again: at most so often, asked a million times, without reading the clock each time.
#pragma once

#include <algorithm>
#include <chrono>

namespace kestrel {

// Due() answers true at most once per interval. The clock is read only at every n-th question; n follows how
// fast the questions come, so that slow records are seen in time and fast ones cost next to nothing.
class Pace {
 public:
  explicit Pace(std::chrono::milliseconds interval) : interval_(interval), last_read_(Clock::now()) {}

  bool Due() {
    if (--until_read_ > 0) return false;
    const Clock::time_point now = Clock::now();
    const auto since_read = now - last_read_;
    last_read_ = now;
    if (since_read > interval_ / 4) {
      stride_ = std::max(1, stride_ / 4);
    } else if (since_read < interval_ / 16) {
      stride_ = std::min(kLongestStride, stride_ * 2);
    }
    until_read_ = stride_;
    if (now < next_) return false;
    next_ = now + interval_;
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr int kLongestStride = 64;

  std::chrono::milliseconds interval_;
  Clock::time_point last_read_;
  Clock::time_point next_{};
  int stride_ = 1;
  int until_read_ = 1;
};

}  // namespace kestrel
