// The mutex under which the calls of one connection are made. As a std::recursive_mutex, but that the thread whose waits are
// watched (Connection::WatchWaits) asks its watch while it waits for another thread's call, and that a "no" ends what that
// call waits for.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "kestrel/export.h"
#include "kestrel/waits.h"

namespace kestrel {

class KESTREL_EXPORT ConnectionMutex {
 public:
  explicit ConnectionMutex(std::shared_ptr<Waits> waits) : waits_(std::move(waits)) {}

  void lock() {
    if (!mutex_.try_lock()) Wait();
  }
  bool try_lock() { return mutex_.try_lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  void Wait();

  std::recursive_timed_mutex mutex_;
  const std::shared_ptr<Waits> waits_;
};

}  // namespace kestrel
