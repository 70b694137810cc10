// A wait for the server that has a limit, and that a stop request ends, but not at once: what is waited for may be done
// soon, and would be lost.
#pragma once

#include <chrono>
#include <string_view>

#include "kestrel/waits.h"

namespace kestrel::postgres {

class Patience {
 public:
  // How long a wait goes on that a stop request has cut short: for an answer, and for a new session behind it, which
  // takes the run's end. Together they leave room within the second in which a stop is honoured.
  static constexpr std::chrono::milliseconds kGraceForAnAnswer{300};
  static constexpr std::chrono::milliseconds kGraceForASession{200};
  // How often a wait looks whether it is to end.
  static constexpr std::chrono::milliseconds kLookAgain{100};

  // All of them outlive this object.
  Patience(Waits& waits, std::chrono::milliseconds limit, std::chrono::milliseconds grace,
           std::string_view reason)
      : waits_(waits), limit_(limit), grace_(grace), reason_(reason) {}
  void BeginAgain() { start_ = Clock::now(); }
  bool GoesOn() {
    if (!was_stopped_) {
      if (waits_.GoOn(start_, limit_, reason_)) return true;
      if (!waits_.WasStopped()) return false;
      was_stopped_ = true;
      stopped_at_ = Clock::now();
    }
    return Clock::now() - stopped_at_ < grace_;
  }
  bool WasStopped() const { return was_stopped_; }
  // How long to wait until GoesOn is to be asked again.
  std::chrono::milliseconds Step() const { return was_stopped_ ? kLookAgain / 5 : kLookAgain; }

 private:
  using Clock = std::chrono::steady_clock;

  Waits& waits_;
  const std::chrono::milliseconds limit_;
  const std::chrono::milliseconds grace_;
  const std::string_view reason_;
  Clock::time_point start_ = Clock::now();
  bool was_stopped_ = false;
  Clock::time_point stopped_at_{};
};

}  // namespace kestrel::postgres
