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
  // `waits` are those of the connection.
  explicit ConnectionMutex(std::shared_ptr<Waits> waits) : waits_(std::move(waits)) {}

  // Waits for as long as another thread has it; a "no" of the watch does not end this wait, but what it waits for.
  void lock() {
    if (!mutex_.try_lock()) Wait();
  }
  // False where another thread has it.
  bool try_lock() { return mutex_.try_lock(); }
  // Once for each lock, by the same thread.
  void unlock() { mutex_.unlock(); }

 private:
  void Wait();

  std::recursive_timed_mutex mutex_;
  const std::shared_ptr<Waits> waits_;
};

}  // namespace kestrel
