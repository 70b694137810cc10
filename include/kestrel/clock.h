// The time of day, as an object so that a test can set it.
#pragma once

#include "kestrel/date.h"

namespace kestrel {

class Clock {
 public:
  virtual ~Clock() = default;
  // Local time.
  virtual DateTime Now() const = 0;
};

class SystemClock final : public Clock {
 public:
  DateTime Now() const override;
};

// Always the same time, until it is set again.
class FixedClock final : public Clock {
 public:
  explicit FixedClock(const DateTime& now) : now_(now) {}
  DateTime Now() const override { return now_; }
  void Set(const DateTime& now) { now_ = now; }

 private:
  DateTime now_;
};

}  // namespace kestrel
