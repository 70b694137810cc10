// Measuring CPU time, which other programs on the machine disturb less than the clock on the wall.
#pragma once

#include <algorithm>
#include <ctime>
#include <limits>

namespace kestrel::bench {

// CPU seconds of this process so far, in the program and in the system on its behalf.
inline double CpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// CPU seconds of one call.
template <class Work>
double CpuSecondsOf(Work&& work) {
  const double begin = CpuSeconds();
  work();
  return CpuSeconds() - begin;
}

// The least of several times, which is the one least disturbed.
class BestTime {
 public:
  void Add(double seconds) { seconds_ = std::min(seconds_, seconds); }
  double seconds() const { return seconds_; }

 private:
  double seconds_ = std::numeric_limits<double>::max();
};

}  // namespace kestrel::bench
