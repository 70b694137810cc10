// The mutex under which the calls of one connection are made. As a std::recursive_mutex, but that the thread whose waits are
// watched (Connection::WatchWaits) asks its watch while it waits for another thread's call, that a "no" ends what that
// call waits for, and that who has it may lend it to a thread that works for him.
//
// Invariants
//  1. mutex_ is locked by the thread that got it until that one's last unlock, also while it is lent.
//  2. holder_ is who makes calls: that thread, or who has borrowed it. Each thread compares it with its own number only,
//     and depth_ is the holder's. So both may be read without any other lock.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "kestrel/export.h"
#include "kestrel/waits.h"

namespace kestrel {

class ConnectionMutex {
 public:
  // `waits` are those of the connection.
  explicit ConnectionMutex(std::shared_ptr<Waits> waits) : waits_(std::move(waits)) {}
  ConnectionMutex(const ConnectionMutex&) = delete;
  ConnectionMutex& operator=(const ConnectionMutex&) = delete;

  // Waits for as long as another thread has it; a "no" of the watch does not end this wait, but what it waits for.
  void lock() {
    if (!try_lock()) Wait();
  }
  // False where another thread has it.
  bool try_lock() {
    const std::thread::id self = std::this_thread::get_id();
    if (holder_.load(std::memory_order_acquire) != self) {
      // It may have lent what it has locked.
      if (lender_.load(std::memory_order_relaxed) == self || !mutex_.try_lock()) return false;
      holder_.store(self, std::memory_order_release);
    }
    ++depth_;
    return true;
  }
  // Once for each lock, by the same thread.
  void unlock() {
    if (--depth_ > 0) return;
    holder_.store({}, std::memory_order_release);
    mutex_.unlock();
  }

  // Runs what takes the database long, and returns with its end; what it raises passes on. Where the calling thread keeps
  // windows (WaitWatch::KeepsWindows), another one does the work and has this mutex meanwhile, however often it is locked
  // here, and the watch is asked until it is done. A call of the connection that the watch should make waits for that.
  KESTREL_EXPORT void Aside(const std::function<void()>& work);

 private:
  KESTREL_EXPORT void Wait();
  void AwaitReturn();

  std::timed_mutex mutex_;
  std::atomic<std::thread::id> holder_;
  std::atomic<std::thread::id> lender_;
  int depth_ = 0;
  std::mutex return_mutex_;
  std::condition_variable returned_;
  const std::shared_ptr<Waits> waits_;
};

}  // namespace kestrel
