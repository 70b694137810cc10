// How long the calls of one connection may wait for somebody else (another program's lock, a server that is
// silent), and who is asked meanwhile.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "kestrel/export.h"

namespace kestrel {

// Who looks after a person while a call waits.
class KESTREL_EXPORT WaitWatch {
 public:
  WaitWatch() = default;
  WaitWatch(const WaitWatch&) = delete;
  WaitWatch& operator=(const WaitWatch&) = delete;
  virtual ~WaitWatch() = default;
  // Asked several times a second. `reason` is a sentence to show; empty where what is waited for is this program's own work
  // and has not lasted long. False ends the wait: the call fails. Makes no call of the connection; raises nothing.
  virtual bool KeepWaiting(std::string_view reason) = 0;
  // Whether its thread also keeps windows alive, and so leaves to another one what takes the database long
  // (ConnectionMutex::Aside).
  virtual bool KeepsWindows() const { return false; }
};

// The limits of a connection, and its watch. Used under the connection's CallMutex, but for what is said below.
class Waits {
 public:
  // For another program's lock, where nobody sets another limit.
  static constexpr std::chrono::seconds kLockLimit{60};
  // For the answer of a server, likewise.
  static constexpr std::chrono::seconds kAnswerLimit{300};

  // The limits that the environment sets, KESTREL_LOCK_WAIT and KESTREL_ANSWER_WAIT in seconds, else the two above.
  KESTREL_EXPORT Waits();

  // Null for nobody. Asked only by the thread that sets it.
  KESTREL_EXPORT void SetWatch(WaitWatch* watch);
  // `seconds` as a connection string has them; what is no number from 0 on changes nothing.
  void SetLockLimit(std::string_view seconds) { Read(seconds, lock_limit_); }
  void SetAnswerLimit(std::string_view seconds) { Read(seconds, answer_limit_); }

  // How long a call waits for another program's lock, from the first time that it met it, and a lost connection is
  // opened again.
  std::chrono::milliseconds LockLimit() const { return lock_limit_; }
  // The same of the next call. Once a lock has outlasted its time the calls that follow most likely meet the same one, so
  // they wait for half the limit more in all, until none has met a lock for ten seconds.
  std::chrono::milliseconds LockPatience() const;
  // A call has given up a lock after that time.
  void LockOutlasted(std::chrono::milliseconds waited);
  // How long a call waits for a server that says nothing.
  std::chrono::milliseconds AnswerLimit() const { return answer_limit_; }

  // Whether a wait goes on that has lasted since `start`: not beyond `limit`, and not where the watch says no.
  KESTREL_EXPORT bool GoOn(std::chrono::steady_clock::time_point start, std::chrono::milliseconds limit,
                           std::string_view reason);
  // Whether the last wait was ended by the watch.
  bool WasStopped() const { return was_stopped_; }

  // --- Without the CallMutex ---

  // Whether this is the thread whose waits are watched.
  bool IsWatchedThread() const { return thread_ == std::this_thread::get_id() && watch_ != nullptr; }
  // Whether it leaves to others what takes long.
  bool KeepsWindows() const { return IsWatchedThread() && watch_->KeepsWindows(); }
  // That thread cannot make its call, as another one's has gone on since `start`: asks the watch. Its "no" ends what that
  // call waits for.
  void AskForOther(std::chrono::steady_clock::time_point start);
  // It can.
  void OtherIsDone() { stops_other_ = false; }

 private:
  KESTREL_EXPORT static void Read(std::string_view seconds, std::chrono::milliseconds& limit);

  std::chrono::milliseconds lock_limit_ = kLockLimit;
  std::chrono::milliseconds answer_limit_ = kAnswerLimit;
  std::optional<std::chrono::steady_clock::time_point> lock_outlasted_;  // when it was last so
  std::chrono::milliseconds lock_rest_{};                                // of the patience behind it
  WaitWatch* watch_ = nullptr;
  std::atomic<std::thread::id> thread_;  // that has set watch_
  std::atomic<bool> stops_other_ = false;
  bool was_stopped_ = false;
  std::mutex other_mutex_;  // of the two below
  std::string other_reason_;
  std::chrono::steady_clock::time_point other_asked_{};
};

}  // namespace kestrel
