#include "kestrel/waits.h"

#include <algorithm>
#include <cstdlib>

#include "platform/base/number.h"

namespace kestrel {

namespace {

constexpr double kLongestSeconds = 86400;
// What is over sooner is not told of.
constexpr std::chrono::milliseconds kShownAfter{500};
// Locks that are met within that time behind one that was given up are taken for the same.
constexpr std::chrono::seconds kSameLock{10};
// Who waits asks more often.
constexpr std::chrono::milliseconds kStillWaits{1000};

std::string_view Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

Waits::Waits() {
  SetLockLimit(Environment("KESTREL_LOCK_WAIT"));
  SetAnswerLimit(Environment("KESTREL_ANSWER_WAIT"));
}

void Waits::Read(std::string_view seconds, std::chrono::milliseconds& limit) {
  const auto number = ParseNumber(seconds);
  if (!number || *number < 0) return;
  limit = std::chrono::milliseconds(static_cast<std::int64_t>(std::min(*number, kLongestSeconds) * 1000));
}

std::chrono::milliseconds Waits::LockPatience() const {
  if (!lock_outlasted_ || std::chrono::steady_clock::now() - *lock_outlasted_ > kSameLock) return lock_limit_;
  return lock_rest_;
}

void Waits::LockOutlasted(std::chrono::milliseconds waited) {
  const std::chrono::milliseconds patience = LockPatience();
  lock_rest_ = patience == lock_limit_ ? lock_limit_ / 2
                                       : std::max(patience - waited, std::chrono::milliseconds::zero());
  lock_outlasted_ = std::chrono::steady_clock::now();
}

void Waits::SetWatch(WaitWatch* watch) {
  watch_ = watch;
  thread_ = std::this_thread::get_id();
}

bool Waits::GoOn(std::chrono::steady_clock::time_point start, std::chrono::milliseconds limit,
                 std::string_view reason) {
  const auto now = std::chrono::steady_clock::now();
  was_stopped_ = false;
  if (now - start >= limit) return false;
  if (IsWatchedThread()) {
    was_stopped_ = !watch_->KeepWaiting(reason);
  } else {
    const std::lock_guard lock(other_mutex_);
    other_reason_ = reason;
    other_asked_ = now;
    was_stopped_ = stops_other_;
  }
  return !was_stopped_;
}

void Waits::AskForOther(std::chrono::steady_clock::time_point start) {
  const auto now = std::chrono::steady_clock::now();
  std::string reason;
  if (now - start >= kShownAfter) {
    const std::lock_guard lock(other_mutex_);
    reason = now - other_asked_ < kStillWaits ? other_reason_
                                              : "Die Datenbank ist noch beschäftigt, es wird gewartet ...";
  }
  if (!watch_->KeepWaiting(reason)) stops_other_ = true;
}

}  // namespace kestrel
