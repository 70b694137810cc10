// A wait for the server that has a limit, and that a stop request ends, but not at once: what is waited for may be done
// soon, and would be lost.
#pragma once

#include <chrono>
#include <string_view>

#include "kestrel/waits.h"

namespace kestrel::postgres {

class Patience {
 public:
  // How long a wait goes on that a stop request has cut short. A commit and a new connection for the run's end each have
  // that time within a second.
  static constexpr std::chrono::milliseconds kGraceOfAStop{400};

  // All of them outlive this object.
  Patience(Waits& waits, std::chrono::milliseconds limit, std::string_view reason)
      : waits_(waits), limit_(limit), reason_(reason) {}
  void BeginAgain() { start_ = Clock::now(); }
  bool GoesOn() {
    if (!was_stopped_) {
      if (waits_.GoOn(start_, limit_, reason_)) return true;
      if (!waits_.WasStopped()) return false;
      was_stopped_ = true;
      stopped_at_ = Clock::now();
    }
    return Clock::now() - stopped_at_ < kGraceOfAStop;
  }
  bool WasStopped() const { return was_stopped_; }

 private:
  using Clock = std::chrono::steady_clock;

  Waits& waits_;
  const std::chrono::milliseconds limit_;
  const std::string_view reason_;
  Clock::time_point start_ = Clock::now();
  bool was_stopped_ = false;
  Clock::time_point stopped_at_{};
};

}  // namespace kestrel::postgres
