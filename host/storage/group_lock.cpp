#include "storage/group_lock.h"

#include <mutex>
#include <utility>

#include "platform/data/pipeline.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

// So often the lock is taken that is lost in passing.
constexpr int kMostAttempts = 5;

// While it lives, a wait for an answer is told as what it is.
class WaitForOthers {
 public:
  explicit WaitForOthers(Recovery* recovery) : recovery_(recovery) {
    if (recovery_ != nullptr) {
      recovery_->TellWaitsAs("Ein anderer Import in diese Datenbank speichert gerade, es wird gewartet ...");
    }
  }
  WaitForOthers(const WaitForOthers&) = delete;
  WaitForOthers& operator=(const WaitForOthers&) = delete;
  ~WaitForOthers() {
    if (recovery_ != nullptr) recovery_->TellWaitsAs({});
  }

 private:
  Recovery* const recovery_;
};

}  // namespace

void TakeGroupLock(Connection& connection) {
  // SQLite's write transaction does, and every commit is seen.
  if (IsSqlite(connection) || !HasTable(connection, "Importsperre")) return;
  const WaitForOthers told(dynamic_cast<Recovery*>(&connection));
  connection.Execute("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex'");
}

GroupLock::GroupLock(Connection& connection)
    : connection_(connection),
      group_(GroupedWrites::Of(connection)),
      recovery_(dynamic_cast<Recovery*>(&connection)) {}

GroupLock::Storing::Storing(const Connection& connection, GroupLock& lock)
    : connection_(connection), lock_(lock) {
  const std::lock_guard guard(connection_.CallMutex());
  CreateImportLock(lock_.connection_);
  ++lock_.storing_;
}

GroupLock::Storing::~Storing() {
  const std::lock_guard guard(connection_.CallMutex());
  // What is kept with a connection ends with it.
  if (!connection_.IsOpen() || --lock_.storing_ > 0) return;
  lock_.looked_up_ = false;
  lock_.refusal_.reset();
}

// Where others stand in line for it, this waits. What it gives counts what was committed under the lock, one group
// after the other, or changes with every commit of another connection.
std::int64_t GroupLock::Take() {
  if (take_ == nullptr) {
    take_ = connection_.Prepare(IsSqlite(connection_)
                                    ? "SELECT data_version FROM pragma_data_version"
                                    : "UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex' "
                                      "RETURNING Stand, (SELECT ohne.Stand FROM Importsperre ohne "
                                      "WHERE ohne.Name = 'Adressindex ohne Sperre')");
  }
  // Statements under way that fail would be undone with the lock.
  if (Pipeline* const pipeline = connection_.pipeline()) pipeline->Flush();
  const WaitForOthers told(recovery_);
  const RecordsetPtr row = take_->Open();
  if (row->IsEof()) {
    throw RuntimeError(
        ErrorNumber::kDatabase,
        "In der Tabelle 'Importsperre' fehlt die Zeile 'Adressindex'. 'kestrel-import init ORDNER "
        "--host VERBINDUNG' legt sie wieder an");
  }
  commits_unlocked_.reset();
  if (row->ColumnCount() > 1 && !row->IsNull(1)) commits_unlocked_ = row->ValueAt(1).ToInteger();
  return row->ValueAt(0).ToInteger();
}

void GroupLock::WillStore() {
  if (storing_ == 0 || !group_.IsOpen() || stores_in_ == group_.Generation() || IsSqlite(connection_)) return;
  stores_in_ = group_.Generation();
  group_.Join(*this);
}

void GroupLock::BeforeCommit() {
  if (stores_in_ != group_.Generation() || IsHeld()) return;
  if (count_ == nullptr) {
    count_ =
        connection_.Prepare("UPDATE Importsperre SET Stand = Stand + 1 WHERE Name = 'Adressindex ohne Sperre'");
  }
  count_->Execute();
}

bool GroupLock::Hold() {
  bool is_held = false;
  for (int attempts = 1; !Trap([&] { is_held = HoldOnce(); },
                               [&](const RuntimeError& error) {
                                 const bool is_passing =
                                     recovery_ != nullptr && recovery_->LastLoss() == Recovery::Loss::kUndone;
                                 if (attempts == kMostAttempts || !is_passing) throw;
                                 group_.Lose(error);
                               });) {
    ++attempts;
  }
  return is_held;
}

bool GroupLock::HoldOnce() {
  if (!group_.OpenForLookUp(*this)) return false;
  if (!IsHeld()) TakeInGroup();
  return true;
}

void GroupLock::TakeInGroup() {
  const std::int64_t stand = Take();
  // Else the group might end as soon as the wait for its lock.
  group_.BeginSpan();
  held_in_ = group_.Generation();
  if (std::exchange(next_stand_, stand) != stand) ++commits_of_others_;
}

bool GroupLock::HoldAgain() {
  if (!lost_at_) return true;
  const std::uint64_t before = *lost_at_;
  // Its opening may store again what asks the same.
  if (!HoldOnce()) return true;
  return commits_of_others_ == before;
}

bool GroupLock::BeforeLookUp() {
  if (storing_ == 0) return true;
  return !refusal_ &&
         Trap([this] { looked_up_ = Hold(); }, [this](const RuntimeError& error) { refusal_ = error; });
}

bool GroupLock::Refuse(const RuntimeError& reason) {
  if (storing_ == 0) return false;
  refusal_ = reason;
  return true;
}

void GroupLock::RequireLookUp() {
  if (refusal_) throw *std::exchange(refusal_, std::nullopt);
  if (!std::exchange(looked_up_, false) || IsHeld()) return;
  const std::uint64_t before = commits_of_others_;
  if (!Hold() || commits_of_others_ == before) return;
  throw RuntimeError(
      ErrorNumber::kDatabase,
      "Während der Datensatz auf Dubletten geprüft wurde, hat jemand anders Adressen gespeichert, daher "
      "ist die Prüfung nicht mehr gültig. Importieren Sie den Datensatz noch einmal.");
}

bool GroupLock::GroupLost(const RuntimeError&) {
  if (held_in_ == group_.Generation() && !lost_at_) lost_at_ = commits_of_others_;
  return false;
}

void GroupLock::GroupCommitted() {
  lost_at_.reset();
  // On SQLite an own commit changes nothing of what is compared.
  if (held_in_ == group_.Generation() && !IsSqlite(connection_)) ++next_stand_;
}

}  // namespace kestrel::host
