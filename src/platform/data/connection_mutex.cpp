#include "kestrel/connection_mutex.h"

#include <chrono>

namespace kestrel {

namespace {

constexpr std::chrono::milliseconds kLookAgain{100};

}  // namespace

void ConnectionMutex::Wait() {
  if (!waits_->IsWatchedThread()) return mutex_.lock();
  // By the system's clock, as thread sanitizers do not know the wait by the steady one.
  while (!mutex_.try_lock_until(std::chrono::system_clock::now() + kLookAgain)) waits_->AskForOther();
  waits_->OtherIsDone();
}

}  // namespace kestrel
