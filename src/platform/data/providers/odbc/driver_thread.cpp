#include "platform/data/providers/odbc/driver_thread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace kestrel::odbc {

namespace {

constexpr std::chrono::milliseconds kLookAgain{100};
// For a driver that was asked to come back, within the second in which a stop is honoured.
constexpr std::chrono::milliseconds kGrace{300};
// Drivers that know a time limit have the same, and say what they waited for.
constexpr std::chrono::seconds kDriverSaysItFirst{5};
constexpr std::string_view kReason = "Die Datenquelle antwortet nicht, es wird gewartet ...";

}  // namespace

struct DriverThread::State {
  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> call;  // empty where it is done
  bool ends = false;

  void Work() {
    std::unique_lock lock(mutex);
    while (true) {
      changed.wait(lock, [this] { return call != nullptr || ends; });
      if (call == nullptr) return;
      lock.unlock();
      call();
      lock.lock();
      // What it owns may end in a driver, too.
      std::function<void()> done = std::move(call);
      call = nullptr;
      lock.unlock();
      changed.notify_all();
      done = nullptr;
      lock.lock();
    }
  }
};

DriverThread::~DriverThread() {
  if (state_ == nullptr) return;
  const std::lock_guard lock(state_->mutex);
  state_->ends = true;
  state_->changed.notify_all();
}

DriverThread::End DriverThread::Run(Waits& waits, std::function<void()> call, std::function<void()> cancel) {
  if (state_ == nullptr) {
    state_ = std::make_shared<State>();
    std::thread([state = state_] { state->Work(); }).detach();
  }
  std::unique_lock lock(state_->mutex);
  state_->call = std::move(call);
  state_->changed.notify_all();
  const auto is_done = [this] { return state_->call == nullptr; };
  const auto start = std::chrono::steady_clock::now();
  const auto limit = waits.AnswerLimit() + kDriverSaysItFirst;
  while (!state_->changed.wait_for(lock, kLookAgain, is_done)) {
    lock.unlock();
    const bool goes_on = waits.GoOn(start, limit, kReason);
    lock.lock();
    if (goes_on) continue;
    const bool was_stopped = waits.WasStopped();
    // A driver may not come back from this either.
    std::thread(std::move(cancel)).detach();
    if (state_->changed.wait_for(lock, kGrace, is_done)) return End::kDone;
    state_->ends = true;
    lock.unlock();
    state_ = nullptr;
    return was_stopped ? End::kStopped : End::kSilent;
  }
  return End::kDone;
}

}  // namespace kestrel::odbc
