// One open SQLite file: the handle and the compiled queries kept for another use. Shared by a connection
// and everything that came from it, so that a record set may outlive its connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/connection_mutex.h"
#include "kestrel/waits.h"
#include "platform/data/literal_template.h"

struct sqlite3;
struct sqlite3_stmt;

namespace kestrel {
class AbsentValues;
}

namespace kestrel::sqlite {

struct CloseHandle {
  bool is_lent = false;
  void operator()(sqlite3* handle) const;
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const;
};
using StatementHandle = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

struct QueryColumn {
  enum class Kind { kPlain, kDate, kTruth };
  std::string name;
  Kind kind = Kind::kPlain;
  // The text of a value of the current row that is not stored as text.
  mutable std::string text;
};

// A compiled query with the texts bound to it. `key` is what it was compiled from.
struct CompiledQuery {
  std::string key;
  std::string bound_text;
  StatementHandle handle;
  // Read after the first step, as SQLite compiles anew there where the tables have changed; good until it has
  // done so more than `compiled_anew` times.
  std::vector<QueryColumn> columns;
  int compiled_anew = -1;
};
using CompiledQueryPtr = std::unique_ptr<CompiledQuery>;

class Database {
 public:
  // Opens or creates `file`. Error 3000 with SQLite's reason.
  Database(const std::string& file, bool read_only, std::shared_ptr<ConnectionMutex> mutex,
           std::shared_ptr<Waits> waits);
  // Works with a handle that stays its owner's, as it is set.
  Database(sqlite3* lent, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  sqlite3* Handle() const { return handle_.get(); }
  bool IsLent() const { return handle_.get_deleter().is_lent; }
  // Held during every call of SQLite's, also by statements and record sets.
  ConnectionMutex& Mutex() const { return *mutex_; }

  // Compiles exactly one statement; error 3000 for none, for a second one, and for SQLite's own reasons.
  // `persistent`: it will be kept for long.
  StatementHandle Compile(std::string_view sql, bool persistent);

  // The compiled query of `sql` with its literals bound, ready for the first step: one kept from an earlier
  // query that differed in nothing else, or a new one.
  CompiledQueryPtr Acquire(std::string_view sql);
  // The compiled query of a text as it stands, without literals taken out.
  CompiledQueryPtr AcquireExactly(std::string_view sql);
  // Keeps a query for the next one of its kind; at most 32 are kept, the longest unused one leaves.
  void Release(CompiledQueryPtr query);
  void DropKeptQueries();
  // Has `call` called before a query is compiled or used again; null for nothing. It raises nothing.
  void SetBeforeQuery(std::function<void()> call) { before_query_ = std::move(call); }

  // Tells `listener` of every row of an ordinary table that a statement adds or changes; null for nobody.
  void TellOfRows(AbsentValues* listener);

  // Error 3000 with the reason of the last failure.
  [[noreturn]] void Fail() const;
  // Runs a statement without result. It waits for the locks of others, but tells nobody.
  void Run(const char* sql) const;
  // Begins or ends a transaction. While another one holds the lock it is tried again and again, outside of
  // SQLite, so that whoever watches the wait may do anything. Error 3000, also where the file is no longer at
  // its place: SQLite would go on in a file that nobody finds any more.
  void Begin();
  void Commit();
  // The first step of a statement, SQLite's result. Outside of a transaction it waits as Begin does. Error 3000 where it
  // has waited in vain.
  int FirstStep(sqlite3_stmt* statement);
  // Flushes what was committed to the disk. Error 3000, also where the file is no longer at its place.
  void Flush() const;

  // See Connection::StopReason. Of the last failure; no longer once a transaction begins.
  const std::string& StopReason() const { return stop_reason_; }

 private:
  static int WaitForLock(void* database, int times);
  // What `attempt` gives once no lock keeps it. Error 3000 where it is waited for in vain.
  template <class Attempt>
  int WaitForLocks(Attempt&& attempt);
  // WaitForLocks, but within a transaction, where SQLite itself waits.
  template <class Attempt>
  int OutsideOfTransactions(Attempt&& attempt);
  void RunTransaction(const char* sql);
  std::string Path() const;  // empty for a database that is no file
  void RequireFile() const;
  void TellOfQuery() const;
  CompiledQueryPtr Take(std::string_view key);
  CompiledQueryPtr TakeOrCompile(std::string_view sql);

  std::shared_ptr<ConnectionMutex> mutex_;
  std::shared_ptr<Waits> waits_;
  std::chrono::steady_clock::time_point locked_since_;
  bool waits_outside_ = false;  // of SQLite
  mutable std::string stop_reason_;
  std::unique_ptr<sqlite3, CloseHandle> handle_;
  std::list<CompiledQueryPtr> kept_;  // most recently used first
  LiteralTemplate template_;
  std::function<void()> before_query_;
};

}  // namespace kestrel::sqlite
