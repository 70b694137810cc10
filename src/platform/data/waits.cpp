#include "kestrel/waits.h"

#include <algorithm>
#include <cstdlib>

#include "platform/base/number.h"

namespace kestrel {

namespace {

constexpr double kLongestSeconds = 86400;

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

void Waits::SetWatch(WaitWatch* watch) {
  watch_ = watch;
  thread_ = std::this_thread::get_id();
}

bool Waits::GoOn(std::chrono::steady_clock::time_point start, std::chrono::milliseconds limit,
                 std::string_view reason) {
  was_stopped_ = false;
  if (std::chrono::steady_clock::now() - start >= limit) return false;
  was_stopped_ = IsWatchedThread() ? !watch_->KeepWaiting(reason) : stops_other_.load();
  return !was_stopped_;
}

void Waits::AskForOther() {
  if (!watch_->KeepWaiting("Was zuvor gelesen wurde, wird noch gespeichert ...")) stops_other_ = true;
}

}  // namespace kestrel
