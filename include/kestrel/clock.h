// The time of day, as an object so that a test can set it. Asked by the thread of an import; raises nothing.
#pragma once

#include "kestrel/date.h"
#include "kestrel/export.h"

namespace kestrel {

class KESTREL_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  // Local time.
  virtual DateTime Now() const = 0;
};

// The machine's own time.
class KESTREL_EXPORT SystemClock final : public Clock {
 public:
  DateTime Now() const override;
};

// Always the same time, until it is set again.
class KESTREL_EXPORT FixedClock final : public Clock {
 public:
  // `now` is the time to begin with.
  explicit FixedClock(const DateTime& now) : now_(now) {}
  DateTime Now() const override { return now_; }
  // The time from here on.
  void Set(const DateTime& now) { now_ = now; }

 private:
  DateTime now_;
};

}  // namespace kestrel
