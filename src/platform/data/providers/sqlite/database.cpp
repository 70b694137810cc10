#include "platform/data/providers/sqlite/database.h"

#include <sqlite3.h>

#include <optional>
#include <thread>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/data/absent_values.h"
#include "platform/data/providers/sqlite/error_texts.h"
#include "platform/data/providers/sqlite/waiting_mark.h"

namespace kestrel::sqlite {

namespace {

constexpr std::size_t kMostKept = 32;
constexpr std::size_t kLongestStatement = 100'000'000;
// Between two attempts to get a lock.
constexpr std::chrono::milliseconds kAttemptAgain{10};

[[noreturn]] void Refuse(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

}  // namespace

void CloseHandle::operator()(sqlite3* handle) const {
  if (!is_lent) sqlite3_close_v2(handle);
}
void FinalizeStatement::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Database::Database(const std::string& file, bool read_only, std::shared_ptr<ConnectionMutex> mutex,
                   std::shared_ptr<Waits> waits)
    : mutex_(std::move(mutex)), waits_(std::move(waits)) {
  // SQLite's own locking is off, as Mutex() is held anyway.
  const int flags =
      (read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) | SQLITE_OPEN_NOMUTEX;
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (handle == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  if (result != SQLITE_OK) Refuse(file + ": " + DescribeResult(result, sqlite3_errmsg(handle)));
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_handler(handle, &WaitForLock, this);
  Run("PRAGMA foreign_keys = ON");
  // SQLite looks at the file with the first query only; what is no database, or is locked, is told here.
  if (!read_only) Run("PRAGMA schema_version");
}

Database::Database(sqlite3* lent, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits)
    : mutex_(std::move(mutex)), waits_(std::move(waits)), handle_(lent, CloseHandle{true}) {}

void Database::TellOfRows(AbsentValues* listener) {
  const auto tell = [](void* told, int operation, const char*, const char* table, sqlite3_int64) {
    auto& listener = *static_cast<AbsentValues*>(told);
    operation == SQLITE_DELETE ? listener.TellRemoved(table) : listener.Tell(table);
  };
  sqlite3_update_hook(handle_.get(), listener == nullptr ? nullptr : +tell, listener);
}

void Database::TellOfQuery() const {
  if (before_query_) before_query_();
}

int Database::WaitForLock(void* database, int times) {
  auto& self = *static_cast<Database*>(database);
  if (self.waits_outside_) return 0;
  const auto now = std::chrono::steady_clock::now();
  if (times == 0) self.locked_since_ = now;
  const std::chrono::milliseconds patience = self.waits_->LockPatience();
  if (now - self.locked_since_ >= patience) {
    self.waits_->LockOutlasted(patience);
    return 0;
  }
  std::this_thread::sleep_for(kAttemptAgain);
  return 1;
}

void Database::Fail() const {
  const int result = sqlite3_extended_errcode(handle_.get());
  stop_reason_ = StopReasonOf(result);
  Refuse(DescribeResult(result, sqlite3_errmsg(handle_.get())));
}

std::string Database::Path() const {
  const char* const path = sqlite3_db_filename(handle_.get(), "main");
  return path == nullptr ? std::string() : std::string(path);
}

void Database::RequireFile() const {
  int moved = 0;
  sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  if (moved == 0) return;
  stop_reason_ =
      "Die Datei der Datenbank wurde gelöscht, verschoben oder ersetzt. Was jetzt gespeichert würde, ginge "
      "verloren. Stellen Sie die Datei wieder her, und starten Sie das Programm neu, bevor Sie fortfahren.";
  Refuse("Die Datei der Datenbank ist nicht mehr an ihrem Platz.");
}

template <class Attempt>
int Database::WaitForLocks(Attempt&& attempt) {
  const auto start = std::chrono::steady_clock::now();
  const std::chrono::milliseconds patience = waits_->LockPatience();
  std::optional<WaitingMark> mark;
  while (true) {
    waits_outside_ = true;
    const int result = attempt();
    waits_outside_ = false;
    // A snapshot that is out of date stays so.
    if ((result & 0xFF) != SQLITE_BUSY || result == SQLITE_BUSY_SNAPSHOT) return result;
    if (!waits_->GoOn(start, patience, "Die Datenbank ist gesperrt, es wird gewartet ...")) {
      stop_reason_ = StopReasonOf(result);
      if (waits_->WasStopped()) Refuse("Das Warten auf die gesperrte Datenbank wurde abgebrochen.");
      waits_->LockOutlasted(patience);
      Refuse(
          "Die Datenbank ist von einem anderen Programm gesperrt. Beenden Sie es, oder warten Sie länger "
          "(KESTREL_LOCK_WAIT, Sekunden).");
    }
    if (!mark) mark.emplace(Path());
    mark->Set();
    std::this_thread::sleep_for(kAttemptAgain);
  }
}

void Database::RunTransaction(const char* sql) {
  RequireFile();
  const auto run = [&] { return sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr); };
  if (WaitForLocks(run) != SQLITE_OK) Fail();
  stop_reason_.clear();
}

void Database::Begin() {
  if (WaitingMark(Path()).IsSetByAnother()) std::this_thread::sleep_for(2 * kAttemptAgain);
  RunTransaction("BEGIN IMMEDIATE");
}

void Database::Commit() { RunTransaction("COMMIT"); }

template <class Attempt>
int Database::OutsideOfTransactions(Attempt&& attempt) {
  return sqlite3_get_autocommit(handle_.get()) == 0 ? attempt() : WaitForLocks(attempt);
}

int Database::FirstStep(sqlite3_stmt* statement) {
  return OutsideOfTransactions([&] {
    const int result = sqlite3_step(statement);
    return (result & 0xFF) == SQLITE_BUSY ? sqlite3_reset(statement) : result;
  });
}

void Database::Flush() const {
  RequireFile();
  // The write ahead log holds all that the file does not; without one every commit has been flushed.
  sqlite3_file* log = nullptr;
  sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, static_cast<void*>(&log));
  if (log == nullptr || log->pMethods == nullptr) return;
  // Flushes the folder as well where the log is new.
  const int result = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
  if (result == SQLITE_OK) return;
  stop_reason_ = StopReasonOf(result);
  Refuse("Was gespeichert ist, lässt sich nicht auf den Datenträger schreiben.");
}

void Database::Run(const char* sql) const {
  if (sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

StatementHandle Database::Compile(std::string_view sql, bool persistent) {
  if (sql.empty()) Refuse("Die Anweisung ist leer.");
  if (sql.size() > kLongestStatement) Refuse("Die Anweisung ist zu lang.");
  // SQLite stops at a NUL character without a word about what stands behind it.
  if (sql.find('\0') != std::string_view::npos) Refuse("Die Anweisung enthält ein NUL-Zeichen.");
  const unsigned flags = persistent ? SQLITE_PREPARE_PERSISTENT : 0;
  sqlite3_stmt* made = nullptr;
  const char* tail = nullptr;
  // The first statement reads what tables there are.
  const auto prepare = [&] {
    return sqlite3_prepare_v3(handle_.get(), sql.data(), static_cast<int>(sql.size()), flags, &made, &tail);
  };
  if (OutsideOfTransactions(prepare) != SQLITE_OK) Fail();
  StatementHandle statement(made);
  if (statement == nullptr) Refuse("Die Anweisung ist leer.");
  // Blanks, comments and semicolons may follow; they compile to nothing.
  while (tail != sql.data() + sql.size()) {
    const auto rest = static_cast<int>(sql.data() + sql.size() - tail);
    const int result = sqlite3_prepare_v3(handle_.get(), tail, rest, 0, &made, &tail);
    const StatementHandle second(made);
    if (result != SQLITE_OK || second != nullptr) {
      Refuse("Je Aufruf ist nur eine Anweisung zulässig.");
    }
  }
  return statement;
}

CompiledQueryPtr Database::Take(std::string_view key) {
  for (auto query = kept_.begin(); query != kept_.end(); ++query) {
    if ((*query)->key != key) continue;
    CompiledQueryPtr taken = std::move(*query);
    kept_.erase(query);
    return taken;
  }
  return nullptr;
}

CompiledQueryPtr Database::AcquireExactly(std::string_view sql) {
  TellOfQuery();
  return TakeOrCompile(sql);
}

CompiledQueryPtr Database::TakeOrCompile(std::string_view sql) {
  if (CompiledQueryPtr kept = Take(sql)) return kept;
  auto query = std::make_unique<CompiledQuery>();
  query->handle = Compile(sql, true);
  query->key = sql;
  return query;
}

CompiledQueryPtr Database::Acquire(std::string_view sql) {
  TellOfQuery();
  if (!template_.Make(sql)) return TakeOrCompile(sql);
  CompiledQueryPtr query = Take(template_.Sql());
  if (query == nullptr) {
    query = std::make_unique<CompiledQuery>();
    // A literal may stand where no parameter may (AS 'name'): such a text is taken as it is.
    sqlite3_stmt* made = nullptr;
    const std::string& text = template_.Sql();
    const char* tail = nullptr;
    const int result = OutsideOfTransactions([&] {
      return sqlite3_prepare_v3(handle_.get(), text.data(), static_cast<int>(text.size()),
                                SQLITE_PREPARE_PERSISTENT, &made, &tail);
    });
    query->handle.reset(made);
    if (result != SQLITE_OK || made == nullptr || tail != text.data() + text.size() ||
        static_cast<std::size_t>(sqlite3_bind_parameter_count(made)) != template_.LiteralCount()) {
      return TakeOrCompile(sql);
    }
    query->key = text;
  }
  query->bound_text.clear();
  for (std::size_t i = 0; i < template_.LiteralCount(); ++i) query->bound_text += template_.Literal(i);
  const char* start = query->bound_text.data();
  for (std::size_t i = 0; i < template_.LiteralCount(); ++i) {
    const std::size_t length = template_.Literal(i).size();
    sqlite3_bind_text64(query->handle.get(), static_cast<int>(i) + 1, start, length, SQLITE_STATIC,
                        SQLITE_UTF8);
    start += length;
  }
  return query;
}

void Database::Release(CompiledQueryPtr query) {
  sqlite3_reset(query->handle.get());
  kept_.push_front(std::move(query));
  if (kept_.size() > kMostKept) kept_.pop_back();
}

void Database::DropKeptQueries() { kept_.clear(); }

}  // namespace kestrel::sqlite
