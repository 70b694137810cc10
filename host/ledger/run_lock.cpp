#include "ledger/run_lock.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "ledger/run_state.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

// The first key of all advisory locks taken here.
const std::string kLockClass = "1263747666";

std::string KeysOf(std::int64_t run) { return "(" + kLockClass + ", " + std::to_string(run) + ")"; }

// Asked first, as a session may take its own lock again.
bool IsHeld(Connection& connection, std::int64_t run) {
  return !connection
              .OpenRecordset(
                  "SELECT 1 FROM pg_catalog.pg_locks WHERE locktype = 'advisory' AND granted AND classid = " +
                  kLockClass + " AND objid = " + std::to_string(run) +
                  " AND database = (SELECT oid FROM pg_catalog.pg_database WHERE datname = current_database())")
              ->IsEof();
}

bool IsPooled(Connection& connection) {
  const auto* recovery = dynamic_cast<const Recovery*>(&connection);
  return recovery != nullptr && recovery->IsPooled();
}

constexpr std::chrono::seconds kRenewedEvery{60};
// By the server's clock, so that those of the clerks need not agree.
const std::string kNow = "CAST(extract(epoch FROM clock_timestamp()) AS bigint)";
const std::string kHeldUntil = kNow + " + 900";

std::string NameOf(std::int64_t run) { return "'Lauf " + std::to_string(run) + "'"; }

bool IsLeased(Connection& connection, std::int64_t run) {
  return HasTable(connection, "Importsperre") &&
         !connection
              .OpenRecordset("SELECT 1 FROM Importsperre WHERE Name = " + NameOf(run) + " AND Stand >= " + kNow)
              ->IsEof();
}

bool Lease(Connection& connection, std::int64_t run) {
  CreateImportLock(connection);
  return connection.Execute(
             "INSERT INTO Importsperre (Name, Stand) VALUES (" + NameOf(run) + ", " + kHeldUntil +
             ") ON CONFLICT (Name) DO UPDATE SET Stand = excluded.Stand WHERE Importsperre.Stand < " + kNow) !=
         0;
}

// Of the files beside an SQLite database, up to the run's number; empty for a database that is no file.
std::string LockFilesOf(Connection& connection) {
  const RecordsetPtr main =
      connection.OpenRecordset("SELECT file FROM pragma_database_list WHERE name = 'main'");
  const std::string_view database = main->TextAt(0);
  return database.empty() ? std::string() : std::string(database) + "-lauf";
}

// What has content is no lock's, but perhaps a copy of the database that somebody has named after a run.
void RemoveEmpty(FileLock& lock) {
  std::error_code unknown;
  if (std::filesystem::file_size(lock.path(), unknown) == 0) lock.Remove();
}

}  // namespace

std::optional<RunLock> RunLock::Acquire(Connection& connection, std::int64_t run) {
  if (!IsSqlite(connection)) {
    if (IsHeld(connection, run)) return std::nullopt;
    if (IsPooled(connection)) {
      if (!Lease(connection, run)) return std::nullopt;
      return RunLock(connection, run, std::nullopt);
    }
    if (IsLeased(connection, run)) return std::nullopt;
    const RecordsetPtr taken =
        connection.OpenRecordset("SELECT pg_try_advisory_lock" + KeysOf(run) + "::integer");
    if (taken->TextAt(0) != "1") return std::nullopt;
    return RunLock(connection, run, std::nullopt);
  }
  const std::string files = LockFilesOf(connection);
  if (files.empty()) return RunLock(connection, run, std::nullopt);
  std::optional<FileLock> file;
  Trap([&] { file = FileLock::Acquire(files + std::to_string(run)); },
       [&](const RuntimeError& error) {
         throw RuntimeError(error.Number(), "Neben der Datenbank kann die Datei, die den Importlauf " +
                                                std::to_string(run) + " sperrt, nicht angelegt werden. " +
                                                error.Description() +
                                                ". Geben Sie dem Benutzer Schreibrecht im Ordner '" +
                                                ParentFolder(files) + "'.");
       });
  if (!file) return std::nullopt;
  return RunLock(connection, run, std::move(file));
}

void RunLock::RemoveAbandoned(Connection& connection) {
  if (!IsSqlite(connection)) return;
  const auto remove = [&] {
    const std::string files = LockFilesOf(connection);
    if (files.empty()) return;
    for (const std::string& path : ListFiles(ParentFolder(files))) {
      if (!path.starts_with(files) || !ParseWholeNumber(path.substr(files.size()))) continue;
      if (std::optional<FileLock> lock = FileLock::AcquireAbandoned(path)) RemoveEmpty(*lock);
    }
  };
  Trap(remove, [](const RuntimeError&) {});
}

RunLock::RunLock(Connection& connection, std::int64_t run, std::optional<FileLock> file)
    : connection_(&connection),
      recovery_(dynamic_cast<Recovery*>(&connection)),
      session_(recovery_ == nullptr ? 0 : recovery_->Sessions()),
      is_lease_(IsPooled(connection)),
      renewed_(std::chrono::steady_clock::now()),
      run_(run),
      file_(std::move(file)) {}

void RunLock::Keep() {
  if (is_lease_) {
    const auto now = std::chrono::steady_clock::now();
    if (now - renewed_ < kRenewedEvery) return;
    connection_->Execute("UPDATE Importsperre SET Stand = " + kHeldUntil + " WHERE Name = " + NameOf(run_));
    renewed_ = now;
    return;
  }
  if (recovery_ == nullptr || recovery_->Sessions() == session_) return;
  if (!IsHeld(*connection_, run_) &&
      connection_->OpenRecordset("SELECT pg_try_advisory_lock" + KeysOf(run_) + "::integer")->TextAt(0) ==
          "1") {
    session_ = recovery_->Sessions();
    // Somebody who looked between the two sessions found nobody at it.
    const auto update =
        connection_->Prepare("UPDATE Importlauf SET Zustand = ? WHERE LaufNr = ? AND Zustand = ?");
    update->BindText(0, kRunning);
    update->BindInteger(1, run_);
    update->BindText(2, kBrokenOff);
    update->Execute();
  }
  // The server may not have noticed yet that the earlier session is gone.
  const auto state = connection_->Prepare("SELECT 1 FROM Importlauf WHERE LaufNr = ? AND Zustand = ?");
  state->BindInteger(0, run_);
  state->BindText(1, kRunning);
  if (state->Open()->IsEof()) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Während die Verbindung unterbrochen war, wurde begonnen, den Importlauf " +
                           std::to_string(run_) + " zurückzunehmen. Importieren Sie die Quelle danach neu.");
  }
}

RunLock::RunLock(RunLock&& other) noexcept
    : connection_(std::exchange(other.connection_, nullptr)),
      recovery_(other.recovery_),
      session_(other.session_),
      is_lease_(other.is_lease_),
      renewed_(other.renewed_),
      run_(other.run_),
      file_(std::move(other.file_)) {
  other.file_.reset();
}

RunLock::~RunLock() {
  if (file_) {
    RemoveEmpty(*file_);
  } else if (connection_ != nullptr && connection_->IsOpen() && !IsSqlite(*connection_)) {
    // A session that has gone has given it up.
    const auto give_up = [this] {
      if (is_lease_) {
        connection_->Execute("DELETE FROM Importsperre WHERE Name = " + NameOf(run_));
      } else {
        connection_->OpenRecordset("SELECT pg_advisory_unlock" + KeysOf(run_) + "::text");
      }
    };
    Trap(give_up, [](const RuntimeError&) {});
  }
}

}  // namespace kestrel::host
