// A thread for calls of an ODBC driver, as a driver may not come back from one: the caller's then has somebody to ask whether
// it still waits, and can leave the call behind.
#pragma once

#include <functional>
#include <memory>

#include "kestrel/waits.h"

namespace kestrel::odbc {

class DriverThread {
 public:
  enum class End {
    kDone,
    kStopped,  // the watch said no
    kSilent    // the time for an answer was over
  };

  DriverThread() = default;
  // A thread that is still in a call ends behind it.
  ~DriverThread();
  DriverThread(const DriverThread&) = delete;
  DriverThread& operator=(const DriverThread&) = delete;

  // Runs `call` and waits for its end. Where the wait is not to go on, `cancel` asks the driver to come back, which has a
  // moment for it; one that does not is left to itself. Both own what they use, raise nothing, and are run by other
  // threads.
  End Run(Waits& waits, std::function<void()> call, std::function<void()> cancel);

 private:
  struct State;
  std::shared_ptr<State> state_;  // null until the first call, and behind one that was left
};

}  // namespace kestrel::odbc
