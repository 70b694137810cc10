#include "components/table_importer.h"

#include <algorithm>
#include <mutex>
#include <span>

#include "kestrel/import_class.h"
#include "kestrel/memory_recordset.h"
#include "ledger/run_state.h"
#include "platform/base/text.h"
#include "platform/data/recovery.h"
#include "platform/profile/profile.h"
#include "schema/own_tables.h"
#include "storage/field_error.h"
#include "storage/field_value.h"
#include "storage/grouped_writes.h"
#include "storage/index_repair.h"
#include "storage/missing_rights.h"
#include "storage/sqlite_settings.h"
#include "targets/target_store.h"

namespace kestrel::host {

namespace {

constexpr const char* kSettingsDialog = "kestrelhost.ImportSettings";

// A word of the run's, and that of the ledger.
struct Word {
  std::string_view told;
  std::string_view kept;
};
constexpr Word kEvents[] = {{"held back", kHeldBack}, {"rejected", kRejected}};
constexpr Word kEnds[] = {{"finished", kFinished}, {"stopped", kStopped}, {"broken off", kBrokenOff}};

std::string_view EntryFor(std::span<const Word> words, std::string_view told) {
  for (const Word& word : words) {
    if (word.told == told) return word.kept;
  }
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
}

}  // namespace

void TableImporter::Bind(Members& members) {
  members.Set("Connection", &TableImporter::SetConnection);
  members.Let("PersonalNr", &TableImporter::SetPersonalNr);
  members.Let("Application", &TableImporter::SetApplication);
  members.Let("SpecificationFile", &TableImporter::SetSpecificationFile);
  members.Get("HasConfig", &TableImporter::HasConfig);
  members.Method("ShowConfig", &TableImporter::ShowConfig);
  members.Method("GetFields", &TableImporter::GetFields);
  members.Method("BeforeImport", &TableImporter::BeforeImport);
  members.Method("GetNewRecord", &TableImporter::GetNewRecord);
  members.Method("ImportRecord", &TableImporter::ImportRecord);
  members.Method("CheckValue", &TableImporter::CheckValue);
  members.Method("CheckDestination", &TableImporter::CheckDestination);
  members.Method("CheckRecord", &TableImporter::CheckRecord);
  members.Method("NextLateError", &TableImporter::NextLateError);
  members.Method("AfterImport", &TableImporter::AfterImport);
  members.Get("ErrorCode", &TableImporter::ErrorCode);
  members.Get("ErrorDescription", &TableImporter::ErrorDescription);
  members.Get("ErrorField", &TableImporter::ErrorField);
  members.Get("ErrorFirstRecord", &TableImporter::ErrorFirstRecord);
  members.Get("ErrorLastRecord", &TableImporter::ErrorLastRecord);
  members.Get("StopReason", &TableImporter::StopReason);
  members.Get("ImportResult", &TableImporter::ImportResult);
  members.Method("DescribeAddress", &TableImporter::DescribeAddress);
  members.Method("NextLateUpdate", &TableImporter::NextLateUpdate);
  members.Method("RunStarts", &TableImporter::RunStarts);
  members.Method("RecordFate", &TableImporter::RecordFate);
  members.Method("RunEnds", &TableImporter::RunEnds);
  members.Get("RunNumber", &TableImporter::RunNumber);
  members.Method("AddressKind", &TableImporter::AddressKind);
}

template <class Step>
void TableImporter::Guard(Step&& step) {
  error_code_ = error_first_ = error_last_ = 0;
  error_description_.clear();
  error_field_.clear();
  Trap(std::forward<Step>(step), [this](const RuntimeError& error) { NoteError(error); });
}

void TableImporter::NoteError(const RuntimeError& error) {
  error_code_ = error.Number();
  error_description_ = Told(error);
  error_field_ = FieldOf(error);
  NoteStopReason();
}

void TableImporter::NoteStopReason() {
  // Other errors are a record's own fault.
  constexpr int kDatabase = static_cast<int>(ErrorNumber::kDatabase);
  constexpr int kObjectClosed = static_cast<int>(ErrorNumber::kObjectClosed);
  if (connection_ == nullptr || (error_code_ != kDatabase && error_code_ != kObjectClosed)) return;
  if (!stop_reason_.empty()) return;
  // A group may just be committed by the thread that watches its time.
  const std::lock_guard lock(connection_->CallMutex());
  stop_reason_ = writer_ != nullptr ? writer_->StopReason() : OpenConnection().StopReason();
  const auto* const recovery = dynamic_cast<const Recovery*>(&OpenConnection());
  if (stop_reason_.empty() || recovery == nullptr || !recovery->IsCommitUncertain()) return;
  stop_reason_ += " Ob die Datenbank noch gespeichert hat, was sie zuletzt bekam, ist ungewiss";
  stop_reason_ +=
      ledger_ == nullptr ? "." : "; die Liste der Importläufe zeigt es, sobald sie wieder antwortet.";
}

void TableImporter::SetConnection(const ObjectPtr& connection) {
  Connection& opened = RequireHost(connection);
  Forget();
  connection_ = ConnectionPtr(connection, &opened);
}

Connection& TableImporter::OpenConnection() const {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  return *connection_;
}

void TableImporter::Forget() {
  writer_.reset();
  ledger_.reset();
  trial_.reset();
  addresses_.reset();
  target_.reset();
  record_set_.reset();
  own_record_ = Value();
}

const Destination& TableImporter::Target() {
  if (target_ == nullptr) target_ = std::make_unique<Destination>(LoadDestination(OpenConnection(), prog_id_));
  return *target_;
}

std::string TableImporter::Told(const RuntimeError& error) const {
  return trial_ == nullptr ? error.Description() : trial_->ToldOfTable(error.Description());
}

bool TableImporter::Overwrites(const Destination& target) const {
  ProfileStore profiles;
  return profiles.Read(specification_file_)->Find("CfgSettings", OverwriteKey(target)).value_or("0") == "1";
}

std::optional<NumberRange> TableImporter::RangeFor(const Destination& target) const {
  ProfileStore profiles;
  const auto specification = profiles.Read(specification_file_);
  const std::string& table = ToldTable(target);
  const auto text = [&](const std::string& key) {
    return specification->Find("CfgSettings", key).value_or("");
  };
  return ReadNumberRange(table, text(RangeBeginKey(table)), text(RangeEndKey(table)));
}

std::unique_ptr<RecordWriter> TableImporter::NewWriter(const Destination& target) {
  return std::make_unique<RecordWriter>(OpenConnection(), target, Overwrites(target), keys_, RangeFor(target));
}

RecordWriter& TableImporter::Writer() {
  if (trial_ != nullptr) {
    writer_.reset();
    trial_.reset();
  }
  if (writer_ == nullptr) writer_ = NewWriter(Target());
  return *writer_;
}

RecordWriter& TableImporter::TrialWriter() {
  if (trial_ == nullptr) {
    writer_.reset();
    TuneForTrial(OpenConnection());
    trial_ = std::make_unique<TrialTable>(OpenConnection(), Target());
  }
  if (writer_ == nullptr) writer_ = NewWriter(trial_->destination());
  return *writer_;
}

bool TableImporter::HasConfig() const {
  const std::vector<std::string> known = components_.ProgIds();
  return std::any_of(known.begin(), known.end(),
                     [](const std::string& id) { return EqualsIgnoringCase(id, kSettingsDialog); });
}

void TableImporter::ShowConfig() {
  if (!HasConfig()) return;
  CallMethod(components_.CreateObject(kSettingsDialog), "Show", specification_file_, ToldTable(Target()));
}

ObjectPtr TableImporter::GetFields() {
  std::shared_ptr<MemoryRecordset> fields = FieldListOf({});
  Guard([&] {
    std::vector<FieldListRow> rows;
    for (const DestinationField& field : Target().fields) {
      const bool is_truth = field.kind == FieldKind::kTruth;
      rows.push_back({field.name, is_truth ? "VARCHAR" : field.type, field.size, field.obligation, field.date,
                      field.row_source_typ, field.row_source});
    }
    fields = FieldListOf(rows);
  });
  return fields;
}

std::string TableImporter::CheckValue(std::string_view field, std::string_view text) {
  std::string reason;
  const auto convert = [&] {
    const Destination& target = Target();
    IsoDate date;
    if (const auto found = target.FindField(field)) ConvertFieldText(target.fields[*found], text, date);
  };
  Trap(convert, [&reason](const RuntimeError& error) { reason = error.Description(); });
  return reason;
}

std::string TableImporter::AddressKind() {
  const Destination& target = Target();
  if (target.address_type == 0 || !target.joins_names) return {};
  std::string lines = std::to_string(target.address_type) + "\n" + target.fields[target.number_field].name +
                      "\n" + OverwriteKey(target);
  for (const auto& field : target.key_fields)
    lines += "\n" + (field ? target.fields[*field].name : std::string());
  return lines;
}

std::string TableImporter::CheckDestination() {
  std::string missing;
  Guard([&] {
    missing = MissingRights(OpenConnection(), Target(), Overwrites(Target()));
    RangeFor(Target());
  });
  return error_code_ == 0 ? missing : error_description_;
}

void TableImporter::BeforeImport(bool&) {
  Guard([this] {
    Forget();
    record_ = 0;
    finish_error_.clear();
    stop_reason_.clear();
    missing_grants_.clear();
    read_only_ = WhyReadOnly(OpenConnection());
    not_recorded_.clear();
    // Rows of a log may have opened a group, within which nothing can be tuned.
    GroupedWrites::Of(OpenConnection()).Flush();
    TuneForImport(OpenConnection());
    // Of a database that an earlier version has left, the keys of a million addresses take a minute.
    OpenConnection().CallMutex().Aside([this] {
      RestoreAddressIndexes(OpenConnection());
      TuneAddressIndexes(OpenConnection());
      RenewAddressKeys(OpenConnection());
    });
    missing_grants_ =
        MissingGrants(OpenConnection(), Target(), Overwrites(Target()), IsLedgerWanted(OpenConnection()));
    Writer();
  });
}

ObjectPtr TableImporter::GetNewRecord() {
  Guard([this] {
    if (record_set_ != nullptr) {
      record_set_->Clear();
      return;
    }
    const Destination& target = Target();
    // Without sizes: what does not fit is refused by ImportRecord, which can tell the field.
    std::vector<std::string> columns;
    for (const DestinationField& field : target.fields) columns.push_back(field.name);
    record_set_ = std::make_shared<BorrowingRecordset>(std::move(columns));
    own_record_ = Value(record_set_);
  });
  return record_set_;
}

std::vector<std::size_t> TableImporter::ColumnsOf(const Recordset& record) {
  std::vector<std::size_t> columns;
  for (std::size_t column = 0; column < record.ColumnCount(); ++column) {
    const auto field = Target().FindField(record.ColumnName(column));
    if (!field) {
      throw RuntimeError(ErrorNumber::kColumnNotFound, "Das Importziel '" + prog_id_ + "' hat kein Feld '" +
                                                           std::string(record.ColumnName(column)) + "'.");
    }
    columns.push_back(*field);
  }
  return columns;
}

void TableImporter::ImportRecord(const Value& record) {
  ++record_;
  result_ = {};
  if (ledger_ != nullptr) ledger_->HandOver(record_);
  Guard([&] {
    RequireGrants();
    RequireLedger();
    Store(Writer(), record);
  });
  TellLateError();
}

// A check of records needs none, so that only who is to store one tells what is missing.
void TableImporter::RequireGrants() {
  if (!read_only_.empty()) {
    stop_reason_ = read_only_;
    throw RuntimeError(ErrorNumber::kDatabase, read_only_);
  }
  if (missing_grants_.empty()) return;
  stop_reason_ = "Dem Benutzer fehlen Rechte an der Datenbank: " + missing_grants_ +
                 ". Der Eigentümer der Tabellen vergibt sie mit GRANT; 'kestrel-import check' sagt danach, ob "
                 "sie genügen.";
  throw RuntimeError(ErrorNumber::kDatabase, "Dem Benutzer fehlen Rechte an der Datenbank: " + missing_grants_);
}

// What nobody has written down could not be undone either.
void TableImporter::RequireLedger() {
  if (not_recorded_.empty()) return;
  stop_reason_ =
      "Der Import lässt sich nicht aufzeichnen und wäre nicht rückgängig zu machen. " + way_to_record_;
  throw RuntimeError(ErrorNumber::kDatabase, "Der Import lässt sich nicht aufzeichnen: " + not_recorded_);
}

void TableImporter::CheckRecord(const Value& record) {
  ++record_;
  Guard([&] { Store(TrialWriter(), record); });
  TellLateError();
}

void TableImporter::Store(RecordWriter& writer, const Value& record) {
  if (record_set_ != nullptr && record == own_record_) {
    if (const Refusal refusal = writer.Store(record_, *record_set_, result_)) NoteError(*refusal);
    return;
  }
  const RecordsetPtr foreign = ToRecordset(record);
  const Refusal refusal = writer.Store(record_, *foreign, ColumnsOf(*foreign), result_);
  if (refusal) NoteError(*refusal);
}

void TableImporter::TellLateError() {
  if (writer_ == nullptr || !writer_->LateErrors().MayHaveOne()) return;
  const std::lock_guard lock(OpenConnection().CallMutex());
  LateErrors& late = writer_->LateErrors();
  if (late.IsEmpty()) return;
  if (error_code_ != 0) {
    const bool is_of_record = error_first_ != kNoRecord;
    late.Add({is_of_record ? record_ : kNoRecord, is_of_record ? record_ : kNoRecord,
              RuntimeError(static_cast<int>(error_code_), error_description_), error_field_});
  }
  const LateError next = late.Take();
  error_code_ = next.error.Number();
  error_description_ = Told(next.error);
  error_field_ = next.field;
  error_first_ = next.first;
  error_last_ = next.last;
  NoteStopReason();
}

std::string TableImporter::ImportResult() const {
  switch (result_.kind) {
    case StoreResult::Kind::kNew: return "new " + std::to_string(result_.number);
    case StoreResult::Kind::kUpdated: return "updated " + std::to_string(result_.number);
    case StoreResult::Kind::kOpen: break;
  }
  return result_.number == 0 ? std::string() : "open " + std::to_string(result_.number);
}

void TableImporter::DescribeAddress(std::int64_t address_type, std::string_view number, std::string& name,
                                    std::string& place) {
  if (!addresses_) addresses_.emplace(OpenConnection());
  const AddressLookup::Summary found = addresses_->Describe(address_type, number);
  name = found.name;
  place = found.place;
}

std::int64_t TableImporter::NextLateUpdate() {
  if (writer_ == nullptr) return 0;
  const std::lock_guard lock(OpenConnection().CallMutex());
  return writer_->TakeLateUpdate();
}

bool TableImporter::NextLateError() {
  Guard([this] {
    if (connection_ != nullptr) Finish();
  });
  if (error_code_ != 0) {
    error_first_ = error_last_ = kNoRecord;
    // Told once, as it may come from the log that is to take it.
    if (std::exchange(finish_error_, error_description_) == error_description_) error_code_ = 0;
  }
  TellLateError();
  return error_code_ != 0;
}

void TableImporter::Finish() {
  Connection& connection = OpenConnection();
  if (!connection.IsOpen()) return;
  GroupedWrites& group = GroupedWrites::Of(connection);
  group.Flush();
  const auto failure = group.TakeWriteBehindFailure();
  if (failure) {
    throw RuntimeError(failure->Number(),
                       "Zeilen der Protokolle konnten nicht gespeichert werden. " + failure->Description());
  }
  connection.CallMutex().Aside([&] { connection.MakeDurable(); });
}

void TableImporter::AfterImport() {
  Guard([this] { Finish(); });
  // Nobody needs what was checked any more, unless there is more to tell of it.
  if (trial_ != nullptr && error_code_ == 0 && writer_ != nullptr && !writer_->LateErrors().MayHaveOne()) {
    writer_.reset();
    trial_.reset();
  }
}

void TableImporter::RunStarts(std::string_view specification, std::string_view checksum,
                              std::string_view source, std::int64_t size, std::string_view time) {
  // Nothing will be stored without rights, which the first record tells.
  if (!read_only_.empty() || !missing_grants_.empty() || !IsLedgerWanted(OpenConnection())) return;
  const RunDescription description{.prog_id = prog_id_,
                                   .specification = std::string(specification),
                                   .checksum = std::string(checksum),
                                   .source = std::string(source),
                                   .source_size = size,
                                   .source_time = std::string(time),
                                   .user = personal_nr_};
  Trap(
      [&] {
        RecordWriter& writer = Writer();
        RestoreLedger(OpenConnection());
        ledger_ = std::make_unique<RunLedger>(OpenConnection(), Target(), description);
        writer.Observe(*ledger_);
      },
      // The first record tells.
      [this](const RuntimeError& error) {
        not_recorded_ = error.Description();
        // A lock or a full disk.
        way_to_record_ = OpenConnection().StopReason();
        if (!way_to_record_.empty()) return;
        way_to_record_ = "Der Grund: " + not_recorded_ + ". ";
        if (target_ != nullptr && IsQuoted(target_->table)) {
          const std::string name = prog_id_.substr(std::string_view(kTargetPrefix).size());
          way_to_record_ += "Ob sich die Tabelle geändert hat, sagt 'kestrel-import target check " + name +
                            "'; 'kestrel-import target edit " + name + "' liest sie neu.";
        } else {
          way_to_record_ +=
              "Beheben Sie ihn, oder verzichten Sie auf die Aufzeichnung (Einstellung Importlauf/Fuehren = 0).";
        }
      });
}

void TableImporter::RecordFate(std::int64_t first, std::int64_t last, std::string_view fate) {
  if (ledger_ == nullptr) return;
  if (fate == "passed over") {
    ledger_->PassOver(last);
  } else {
    ledger_->NotStored(first, last, EntryFor(kEvents, fate));
  }
}

void TableImporter::RunEnds(std::string_view end, std::int64_t read, std::int64_t added, std::int64_t updated,
                            std::int64_t held_back, std::int64_t rejected, std::int64_t errors,
                            std::int64_t cut, std::string_view cut_fields) {
  if (ledger_ == nullptr) return;
  const RunCounts counts{.read = read,
                         .added = added,
                         .updated = updated,
                         .held_back = held_back,
                         .rejected = rejected,
                         .errors = errors,
                         .cut = cut,
                         .cut_fields = std::string(cut_fields)};
  const auto tell = [&] {
    ledger_->End(EntryFor(kEnds, end), counts);
    Connection& connection = OpenConnection();
    connection.CallMutex().Aside([&] { connection.MakeDurable(); });
  };
  Trap(tell, [this](const RuntimeError&) {
    // What stopped the import keeps its end from being told, too; whoever opens the database next finds out.
    if (stop_reason_.empty()) throw;
  });
}

std::string TableImporter::RunNumber() const {
  return ledger_ == nullptr ? std::string() : std::to_string(ledger_->number());
}

}  // namespace kestrel::host
