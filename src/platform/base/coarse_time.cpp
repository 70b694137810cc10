#include "platform/base/coarse_time.h"

#include <ctime>

namespace kestrel {

std::chrono::steady_clock::time_point CoarseNow() {
  struct timespec now {};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  const auto since = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  return std::chrono::steady_clock::time_point(since);
}

}  // namespace kestrel
