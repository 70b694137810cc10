#include "ledger/run_undo.h"

#include <algorithm>
#include <utility>

#include "kestrel/transaction.h"
#include "ledger/fingerprint.h"
#include "ledger/run_state.h"
#include "platform/base/counted.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"
#include "storage/missing_rights.h"
#include "storage/sqlite_settings.h"

namespace kestrel::host {

namespace {

// What stands in the place of a value.
constexpr const char* kNotKept = "(nicht aufbewahrt)";
constexpr const char* kDeleted = "(gelöscht)";

constexpr std::string_view kStored = " AND Ereignis IN ('neu', 'geändert')";

[[noreturn]] void Refuse(const std::string& text) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall, text);
}

}  // namespace

RunUndo::RunUndo(Connection& connection, std::int64_t run, const Options& options)
    : connection_(connection),
      run_(run),
      options_(options),
      recovery_(dynamic_cast<const Recovery*>(&connection)),
      position_((run + 1) * kRowsPerRun) {
  GroupedWrites::Of(connection_).Flush();
  RestoreLedger(connection_);
  const std::string name = "Der Importlauf " + std::to_string(run_);
  const auto select = connection_.Prepare("SELECT ProgID, Spalten FROM Importlauf WHERE LaufNr = ?");
  select->BindInteger(0, run_);
  std::string columns;
  {
    const RecordsetPtr found = select->Open();
    if (found->IsEof()) Refuse(name + " ist nicht verzeichnet. 'kestrel-import runs' zeigt alle.");
    destination_ = std::make_unique<Destination>(LoadDestination(connection_, found->TextAt(0)));
    columns = found->TextAt(1);
  }
  if (columns != ColumnsOf(*destination_)) {
    Refuse(name + " hat andere Felder gespeichert (" + ReplaceAll(columns, ",", ", ") +
           "), als sein Importziel jetzt hat. " +
           (IsQuoted(destination_->table)
                ? "Um ihn zurückzunehmen, geben Sie der Tabelle die Spalten von damals, und lesen sie mit "
                  "'kestrel-import target edit' neu."
                : "Stellen Sie die Zeilen der Tabelle 'Importfelder' wieder her, um ihn zurückzunehmen."));
  }
  if (std::optional<RunLock> lock = RunLock::Acquire(connection_, run_)) {
    lock_ = std::make_unique<RunLock>(std::move(*lock));
  } else {
    Refuse(name +
           " läuft noch oder wird gerade zurückgenommen. Warten Sie sein Ende ab, und versuchen Sie es dann "
           "wieder.");
  }
  RequireAllRows();
  if (const std::string why = WhyReadOnly(connection_); !why.empty())
    Refuse(name + " kann nicht zurückgenommen werden. " + why);
  Trap(
      [&] {
        row_ = std::make_unique<StoredRow>(connection_, *destination_);
        references_ = std::make_unique<References>(connection_, *destination_);
        // Without the right to it each address would be left alone by itself.
        if (!IsSqlite(connection_)) connection_.Execute("DELETE FROM " + destination_->table + " WHERE 1 = 0");
      },
      [&](const RuntimeError& error) {
        throw RuntimeError(error.Number(), name + " kann nicht zurückgenommen werden. " + error.Description() +
                                               ". Hat sich die Tabelle '" + ShownTable(*destination_) +
                                               "' seit dem Import geändert, oder fehlt ein Recht?");
      });
  if (destination_->address_type != 0) {
    index_.emplace(connection_, destination_->address_type, std::make_shared<KeyMemory>());
    address_fields_.emplace(*destination_);
  }
  const std::string of_run =
      "FROM Importlaufzeilen WHERE " + std::string(kOfRun) + std::string(kStored) + " AND Werte IS NOT NULL";
  const auto count = connection_.Prepare("SELECT coalesce(sum(Anzahl), 0) " + of_run);
  BindRun(*count, 0, run_);
  total_ = count->Open()->ValueAt(0).ToInteger();
  next_row_ = connection_.Prepare("SELECT ZeilenNr, Ereignis, Werte, Anzahl " + of_run +
                                  " ORDER BY ZeilenNr DESC LIMIT 1");
  keep_rest_ = connection_.Prepare("UPDATE Importlaufzeilen SET Werte = ? WHERE ZeilenNr = ?");
  remove_ = connection_.Prepare("DELETE FROM " + destination_->table + " WHERE " +
                                destination_->fields[destination_->number_field].column + " = ?");
  FindNumbersOfLaterRuns();
  if (!options_.is_trial) TuneForImport(connection_);
}

RunUndo::~RunUndo() {
  if (options_.is_trial && has_begun_ && connection_.IsOpen() && connection_.InTransaction()) {
    Trap([this] { connection_.Rollback(); }, [](const RuntimeError&) {});
  }
}

void RunUndo::RequireAllRows() {
  const auto select = connection_.Prepare(
      "SELECT Neu + Aktualisiert, (SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen WHERE " +
      std::string(kOfRun) + std::string(kStored) + ") FROM Importlauf WHERE LaufNr = ?");
  BindRun(*select, 0, run_);
  select->BindInteger(2, run_);
  const RecordsetPtr counts = select->Open();
  const std::int64_t stored = counts->ValueAt(0).ToInteger();
  const std::int64_t known = counts->ValueAt(1).ToInteger();
  if (known >= stored) return;
  Refuse("Der Importlauf " + std::to_string(run_) + " kann nicht zurückgenommen werden. Von " +
         Counted(stored, "gespeicherten Adresse", "gespeicherten Adressen") +
         " stehen in der Tabelle 'Importlaufzeilen' nur noch " + std::to_string(known) +
         ". Stellen Sie die fehlenden Zeilen aus einer Sicherung der Datenbank wieder her.");
}

void RunUndo::FindNumbersOfLaterRuns() {
  const auto select = connection_.Prepare(
      "SELECT Werte FROM Importlaufzeilen WHERE ZeilenNr > ? AND Ereignis = ? AND Tabelle = ? AND Werte IS NOT "
      "NULL "
      "AND Nummer <= (SELECT max(BisNummer) FROM Importlaufzeilen WHERE ZeilenNr > ? AND ZeilenNr < ?)");
  select->BindInteger(0, (run_ + 1) * kRowsPerRun);
  select->BindText(1, kNew);
  const std::string table = ToldTable(*destination_);
  select->BindText(2, table);
  BindRun(*select, 3, run_);
  for (const RecordsetPtr rows = select->Open(); !rows->IsEof(); rows->MoveNext()) {
    LedgerBlockReader reader(rows->TextAt(0));
    while (reader.Next()) numbers_of_later_runs_.insert(reader.number());
  }
}

void RunUndo::SetState(std::string_view state) {
  const auto update = connection_.Prepare("UPDATE Importlauf SET Zustand = ? WHERE LaufNr = ?");
  update->BindText(0, state);
  update->BindInteger(1, run_);
  update->Execute();
}

bool RunUndo::Next() {
  if (lock_ == nullptr) return false;
  if (!std::exchange(has_begun_, true)) {
    if (options_.is_trial) connection_.Begin();
    InTransaction(connection_, [this] { SetState(kUndoing); });
  } else if (options_.is_trial && !connection_.InTransaction()) {
    // What it does from here on would stay.
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Die Vorschau der Rücknahme wurde unterbrochen. Beginnen Sie sie noch einmal.");
  }
  next_row_->BindInteger(0, run_ * kRowsPerRun);
  next_row_->BindInteger(1, position_);
  std::string text;
  bool is_new = false;
  std::int64_t count = 0;
  {
    const RecordsetPtr row = next_row_->Open();
    if (row->IsEof()) {
      Finish();
      return false;
    }
    position_ = row->ValueAt(0).ToInteger();
    is_new = row->TextAt(1) == kNew;
    text = row->TextAt(2);
    count = row->ValueAt(3).ToInteger();
  }
  InTransaction(connection_, [&] {
    // A trial leaves nothing behind that others would have to know.
    if (index_ && !options_.is_trial) TakeGroupLock(connection_);
    UndoRow(position_, is_new, text);
  });
  done_ += count;
  return true;
}

void RunUndo::UndoRow(std::int64_t row, bool is_new, std::string_view text) {
  std::vector<Entry> entries;
  LedgerBlockReader reader(text);
  while (reader.Next()) entries.push_back({reader.record(), reader.number(), reader.Content()});
  // Told only once the row is committed.
  const std::size_t told = left_alone_.size();
  const std::int64_t removed = removed_;
  const std::int64_t restored = restored_;
  // What was done last is undone first; what is left is kept in the order in which it was done.
  std::vector<LedgerBlockWriter> rests;
  try {
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
      LedgerBlockWriter rest;
      if (is_new ? UndoNew(*entry, rest) : UndoUpdate(*entry, rest)) rests.push_back(std::move(rest));
    }
    LedgerBlockWriter rest;
    for (auto part = rests.rbegin(); part != rests.rend(); ++part) rest.Append(*part);
    if (rest.IsEmpty()) {
      keep_rest_->BindNull(0);
    } else {
      keep_rest_->BindText(0, rest.text());
    }
    keep_rest_->BindInteger(1, row);
    keep_rest_->Execute();
  } catch (const RuntimeError&) {
    left_alone_.resize(told);
    removed_ = removed;
    restored_ = restored;
    throw;
  }
}

bool RunUndo::UndoNew(const Entry& entry, LedgerBlockWriter& rest) {
  if (numbers_of_later_runs_.contains(entry.number)) return false;
  // One that has gone is as gone as it is to be. Who deleted it may have left its keys, which would hold back others.
  if (!row_->Read(entry.number)) {
    if (index_) index_->Remove(entry.number);
    return false;
  }
  LedgerBlockReader reader(entry.content);
  RecordValues imported;
  bool is_changed = false;
  const auto fingerprint = reader.ReadFingerprint(FingerprintSize(*destination_));
  if (fingerprint) {
    std::string now;
    AppendFingerprint(now, *destination_, row_->as_imported());
    is_changed = now != *fingerprint;
  } else {
    for (std::size_t i = 0; i < destination_->fields.size(); ++i) {
      imported.push_back(reader.Read());
      if (i != destination_->number_field && !row_->HasImported(i, imported[i])) is_changed = true;
    }
  }
  if (is_changed && !options_.takes_changes) {
    TellChangesOfNew(entry, fingerprint.value_or(""), imported);
  } else if (Remove(entry)) {
    return false;
  }
  rest.Begin(entry.record, entry.number);
  rest.AddContent(entry.content);
  return true;
}

// Whether the database has just said no, and goes on.
bool RunUndo::IsRefusal() const {
  return connection_.InTransaction() && connection_.StopReason().empty() &&
         (recovery_ == nullptr || recovery_->LastLoss() == Recovery::Loss::kLasting);
}

void RunUndo::TellKept(const Entry& entry, const std::string& reason) {
  left_alone_.push_back({entry.record, entry.number, "", "", "", "(" + reason + ")"});
}

bool RunUndo::Remove(const Entry& entry) {
  if (const std::string table = references_->To(entry.number); !table.empty()) {
    TellKept(entry, "von '" + table + "' verwendet");
    return false;
  }
  std::string refusal;
  const auto remove = [&] {
    remove_->BindInteger(0, entry.number);
    if (remove_->Execute() == 0 && row_->Read(entry.number)) {
      refusal = "Ein Trigger oder eine Regel der Tabelle hat das Löschen verhindert.";
    }
  };
  Trap(remove, [&](const RuntimeError& error) {
    if (!IsRefusal()) throw;
    refusal = error.Description();
  });
  if (!refusal.empty()) {
    TellKept(entry, refusal);
    return false;
  }
  if (index_) index_->Remove(entry.number);
  ++removed_;
  return true;
}

void RunUndo::TellChangesOfNew(const Entry& entry, std::string_view fingerprint, const RecordValues& imported) {
  const RecordValues& now = row_->values();
  const auto tell = [&](const std::string& field, const std::string& was, const std::string& is) {
    left_alone_.push_back({entry.record, entry.number, field, "", was, is});
  };
  if (fingerprint.empty()) {
    for (std::size_t i = 0; i < now.size(); ++i) {
      if (i == destination_->number_field || row_->HasImported(i, imported[i])) continue;
      tell(destination_->fields[i].name, ShownValue(imported[i]), ShownValue(now[i]));
    }
    return;
  }
  std::string fingerprint_now;
  AppendFingerprint(fingerprint_now, *destination_, row_->as_imported());
  const std::vector<std::size_t> fields = DifferentFields(fingerprint, fingerprint_now);
  for (const std::size_t field : fields) {
    if (field < now.size()) tell(destination_->fields[field].name, kNotKept, ShownValue(now[field]));
  }
  if (fields.empty()) tell("", kNotKept, "");
}

bool RunUndo::UndoUpdate(const Entry& entry, LedgerBlockWriter& rest) {
  const bool is_there = !numbers_of_later_runs_.contains(entry.number) && row_->Read(entry.number);
  LedgerBlockReader reader(entry.content);
  std::vector<std::pair<std::size_t, StoredValue>> fields;
  std::vector<StoredValue> imported_values;
  const auto keep = [&](std::size_t field, const StoredValue& before, const StoredValue& imported) {
    if (rest.IsEmpty()) rest.Begin(entry.record, entry.number);
    rest.AddChange(field, before, imported);
  };
  while (const auto field = reader.ReadChange()) {
    const StoredValue before = reader.Read();
    const StoredValue imported = reader.Read();
    if (*field >= destination_->fields.size()) continue;
    if (is_there && row_->values()[*field] == before) continue;
    if (is_there && (options_.takes_changes || row_->HasImported(*field, imported))) {
      fields.emplace_back(*field, before);
      imported_values.push_back(imported);
      continue;
    }
    // As an earlier version of the program has noted it.
    if (is_there && row_->HasImported(*field, before)) continue;
    left_alone_.push_back({entry.record, entry.number, destination_->fields[*field].name, ShownValue(before),
                           ShownValue(imported), is_there ? ShownValue(row_->values()[*field]) : kDeleted});
    keep(*field, before, imported);
  }
  if (!fields.empty() && !RestoreFields(entry, fields)) {
    for (std::size_t i = 0; i < fields.size(); ++i) keep(fields[i].first, fields[i].second, imported_values[i]);
  }
  return !rest.IsEmpty();
}

bool RunUndo::RestoreFields(const Entry& entry,
                            const std::vector<std::pair<std::size_t, StoredValue>>& fields) {
  std::string sets;
  for (const auto& [field, value] : fields) {
    sets += (sets.empty() ? "" : ", ") + destination_->fields[field].column + " = ?";
  }
  std::unique_ptr<Statement>& update = updates_[sets];
  if (update == nullptr) {
    update = connection_.Prepare(UpdateText(*destination_, sets));
  }
  std::string refusal;
  const auto restore = [&] {
    std::size_t parameter = 0;
    for (const auto& [field, value] : fields) Bind(*update, parameter++, value);
    update->BindInteger(parameter, entry.number);
    if (update->Execute() == 0) refusal = "Ein Trigger oder eine Regel der Tabelle hat das Ändern verhindert.";
  };
  Trap(restore, [&](const RuntimeError& error) {
    if (!IsRefusal()) throw;
    refusal = error.Description();
  });
  if (!refusal.empty()) {
    TellKept(entry, refusal);
    return false;
  }
  if (index_ && index_->IsKept() && row_->Read(entry.number)) {
    index_->Write(entry.number, address_fields_->Of(row_->values()));
  }
  ++restored_;
  return true;
}

void RunUndo::Finish() {
  if (options_.is_trial) {
    if (connection_.InTransaction()) connection_.Rollback();
  } else {
    InTransaction(connection_, [this] { SetState(kUndone); });
    connection_.MakeDurable();
  }
  lock_.reset();
}

}  // namespace kestrel::host
