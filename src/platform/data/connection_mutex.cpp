#include "kestrel/connection_mutex.h"

#include <chrono>
#include <future>
#include <system_error>

namespace kestrel {

namespace {

// Windows have to be drawn and asked meanwhile.
constexpr std::chrono::milliseconds kLookAgain{20};

}  // namespace

void ConnectionMutex::Wait() {
  const std::thread::id self = std::this_thread::get_id();
  const auto start = std::chrono::steady_clock::now();
  if (lender_ == self) {
    AwaitReturn();
  } else if (!waits_->IsWatchedThread()) {
    mutex_.lock();
  } else {
    // By the system's clock, as thread sanitizers do not know the wait by the steady one.
    while (!mutex_.try_lock_until(std::chrono::system_clock::now() + kLookAgain)) waits_->AskForOther(start);
    waits_->OtherIsDone();
  }
  holder_ = self;
  ++depth_;
}

void ConnectionMutex::AwaitReturn() {
  const std::thread::id self = std::this_thread::get_id();
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock lock(return_mutex_);
  while (!returned_.wait_until(lock, std::chrono::system_clock::now() + kLookAgain,
                               [&] { return holder_ == self; })) {
    lock.unlock();
    waits_->AskForOther(start);
    lock.lock();
  }
  waits_->OtherIsDone();
}

void ConnectionMutex::Aside(const std::function<void()>& work) {
  const std::lock_guard held(*this);
  if (!waits_->KeepsWindows()) return work();
  const std::thread::id self = std::this_thread::get_id();
  const std::thread::id lender = lender_.exchange(self);
  std::packaged_task<void()> task(work);
  holder_ = std::thread::id();
  const auto borrow = [&] {
    holder_ = std::this_thread::get_id();
    task();
    {
      const std::lock_guard lock(return_mutex_);
      holder_ = self;
    }
    returned_.notify_all();
  };
  std::jthread worker;
  try {
    worker = std::jthread(borrow);
  } catch (const std::system_error&) {
    // No thread is to be had.
    borrow();
  }
  AwaitReturn();
  lender_ = lender;
  task.get_future().get();
}

}  // namespace kestrel
