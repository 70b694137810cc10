// How fast a run goes and how long it will still take, in words that stand still long enough to be read.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

#include "kestrel/export.h"

namespace kestrel {

// Told of the run as often as it is drawn. Its words change once a second at most, and are made of the last ten
// seconds, so that neither a slow start nor a short halt is in them for long.
class KESTREL_INTERNAL RunPace {
 public:
  using Clock = std::chrono::steady_clock;

  // At this moment the record with this number is done, and `percent` of the source; 0 where nobody knows how many
  // there are. Nothing is said in the first two seconds, and at the end.
  const std::string& At(Clock::time_point now, std::int32_t record, double percent);

 private:
  struct Sample {
    Clock::time_point time;
    std::int32_t record;
    double percent;
  };
  std::deque<Sample> samples_;
  std::string text_;
};

// "noch etwa 2 Minuten"
std::string TimeLeftText(double seconds);

}  // namespace kestrel
