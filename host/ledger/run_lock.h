// Says that somebody works on a run of the ledger: an import, or its undoing. However the program ends, the lock
// ends with it, so a run that is "running" without one was broken off.
//
// With an SQLite database it is a locked file beside it, "DATABASE-lauf" and the run's number; with PostgreSQL an
// advisory lock of the connection's session, which programs on other machines see, too. Behind a pooler, where no
// session is its own, it is a row of Importsperre that says until when it holds, and is renewed meanwhile: a quarter of
// an hour after a program ended nobody has it any more. A database in memory has no other program.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "kestrel/connection.h"
#include "platform/base/file_lock.h"
#include "platform/data/recovery.h"

namespace kestrel::host {

class RunLock {
 public:
  // The lock of a run; none where somebody has it, here or in another program. The connection outlives the lock.
  // Error 3000, and those of making the file.
  static std::optional<RunLock> Acquire(Connection& connection, std::int64_t run);
  // Removes the files that ended programs have left; one with content is no lock's, and stays. Raises nothing.
  static void RemoveAbandoned(Connection& connection);
  // To be called while the run goes on: renews the lock, and takes it again where it has ended with the session that had
  // it. Raises 3000 where somebody else works on the run by now.
  void Keep();
  RunLock(RunLock&& other) noexcept;
  RunLock& operator=(RunLock&&) = delete;
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;
  ~RunLock();

 private:
  RunLock(Connection& connection, std::int64_t run, std::optional<FileLock> file);

  Connection* connection_;     // null where the lock has moved
  const Recovery* recovery_;   // null where the lock is no session's
  std::uint64_t session_ = 0;  // that has it
  bool is_lease_ = false;      // a row
  std::chrono::steady_clock::time_point renewed_;
  std::int64_t run_;
  std::optional<FileLock> file_;
};

}  // namespace kestrel::host
