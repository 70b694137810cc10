// Says that somebody works on a run of the ledger: an import, or its undoing. However the program ends, the lock
// ends with it, so a run that is "running" without one was broken off.
//
// With an SQLite database it is a locked file beside it, "DATABASE-lauf" and the run's number; with PostgreSQL an
// advisory lock of the connection's session, which programs on other machines see, too. A database in memory has
// no other program.
#pragma once

#include <cstdint>
#include <optional>

#include "kestrel/connection.h"
#include "platform/base/file_lock.h"

namespace kestrel::host {

class RunLock {
 public:
  // The lock of a run; none where somebody has it, here or in another program. The connection outlives the lock.
  // Error 3000, and those of making the file.
  static std::optional<RunLock> Acquire(Connection& connection, std::int64_t run);
  // Removes the files that ended programs have left; one with content is no lock's, and stays. Raises nothing.
  static void RemoveAbandoned(Connection& connection);
  RunLock(RunLock&& other) noexcept;
  RunLock& operator=(RunLock&&) = delete;
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;
  ~RunLock();

 private:
  RunLock(Connection& connection, std::int64_t run, std::optional<FileLock> file)
      : connection_(&connection), run_(run), file_(std::move(file)) {}

  Connection* connection_;  // null where the lock has moved
  std::int64_t run_;
  std::optional<FileLock> file_;
};

}  // namespace kestrel::host
