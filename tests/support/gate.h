// Holds another thread where a test wants it.
#pragma once

#include <condition_variable>
#include <mutex>

namespace kestrel::testing {

class Gate {
 public:
  void Open() {
    const std::lock_guard lock(mutex_);
    is_open_ = true;
    changed_.notify_all();
  }
  void Close() {
    const std::lock_guard lock(mutex_);
    is_open_ = is_entered_ = false;
  }
  // Waits until the gate is open.
  void Pass() {
    std::unique_lock lock(mutex_);
    is_entered_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return is_open_; });
  }
  // Waits until somebody waits in it, or has passed it.
  void AwaitEntered() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return is_entered_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_open_ = false;
  bool is_entered_ = false;
};

}  // namespace kestrel::testing
