#include "platform/base/file_stamp.h"

#include <algorithm>
#include <ctime>

namespace kestrel {

namespace {

constexpr std::int64_t kMillisecond = 1'000'000;
constexpr std::int64_t kSecond = 1'000 * kMillisecond;
// File systems stamp files with the kernel's clock tick, which is 10 ms at the longest.
constexpr std::int64_t kTickMargin = 20 * kMillisecond;
// A stamp of whole seconds may come from a file system that keeps no finer ones (or, as FAT, two seconds).
constexpr std::int64_t kWholeSecondsMargin = 2 * kSecond;

}  // namespace

std::int64_t StampClock() {
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return std::int64_t{now.tv_sec} * kSecond + now.tv_nsec;
}

bool ShowsEveryChange(const FileIdentity& identity, std::int64_t now) {
  const std::int64_t newest = std::max(identity.content_time, identity.status_time);
  return now - newest >= (newest % kSecond == 0 ? kWholeSecondsMargin : kTickMargin);
}

}  // namespace kestrel
