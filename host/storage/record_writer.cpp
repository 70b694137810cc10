#include "storage/record_writer.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/data/borrowing_recordset.h"

namespace kestrel::host {

namespace {

// After a record that existed already, so many new ones wait for their answers before the next does not.
constexpr int kNewAgain = 32;
// So many groups lost one after the other: the next will hardly fare better.
constexpr int kMostGroupsLost = 3;
// So often a group is stored that is lost in passing.
constexpr int kMostAttempts = 5;
constexpr const char* kLookUpsTooOld =
    "Nachdem auf Dubletten geprüft war, ging die Verbindung verloren oder die Transaktion wurde abgebrochen, "
    "und "
    "jemand anders hat Adressen gespeichert, bevor dies nachgeholt werden konnte. Importieren Sie noch einmal, "
    "was "
    "fehlt.";

}  // namespace

RecordWriter::RecordWriter(Connection& connection, const Destination& destination, bool overwrite,
                           std::shared_ptr<KeyMemory> keys, std::optional<NumberRange> range)
    : connection_(connection),
      destination_(destination),
      overwrite_(overwrite),
      group_(GroupedWrites::Of(connection)),
      lock_(GroupLock::Of(connection)),
      watch_(connection, destination, group_),
      // A trial table ends with the session that has made it.
      recovery_(destination.trial_of.empty() ? dynamic_cast<Recovery*>(&connection) : nullptr),
      updates_(connection, destination),
      address_fields_(destination),
      values_(destination.fields.size()),
      dates_(destination.fields.size()),
      new_in_a_row_(kNewAgain) {
  const auto& fields = destination_.fields;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    plain_sizes_.push_back(std::min(BytesTakenAsTheyStand(fields[i]), std::int64_t{LargeValues::kLarge}));
    if (fields[i].obligation && i != destination_.number_field) mandatory_.push_back(i);
    if (fields[i].preset.empty()) continue;
    Preset& preset = presets_.emplace_back(Preset{i, {}, {}});
    preset.value = ConvertFieldText(fields[i], fields[i].preset, preset.date);
  }
  const std::string& number = fields[destination_.number_field].column;
  numbers_ = range ? NumbersInRange(connection_, destination_, *range)
                   : FreeNumbers::Of(connection_, destination_.table, number, destination_.trial_of);
  insert_ = connection_.Prepare(InsertText(destination_) + " ON CONFLICT (" + number + ") DO NOTHING");
  remove_ = connection_.Prepare("DELETE FROM " + destination_.table + " WHERE " + number + " = ?");
  check_ = InsertCheck::For(connection_, destination_);
  if (!destination_.trial_of.empty()) {
    take_over_ = connection_.Prepare(TakeOverText(destination_));
    // The short way knows of no range.
    if (!range) plain_trial_ = PlainTrial::For(connection_, destination_);
  }
  if (Pipeline* const pipeline = connection_.pipeline()) {
    pipelined_ = std::make_unique<PipelinedRecords>(
        connection_, *pipeline, destination_, keys,
        [this](std::int64_t record, RecordValues& values) {
          if (StoreNow(record, values).kind == StoreResult::Kind::kUpdated) late_updates_.push_back(record);
        },
        [this](std::int64_t record, std::int64_t number) {
          in_group_.TakeOff(record);
          numbers_->Undo(number);
          kept_.TakeOff(record);
        },
        late_errors_);
  }
  if (destination_.address_type == 0) return;
  // Records are stored again in whatever thread found out that they must be, where `keys` are not to be touched.
  if (pipelined_ != nullptr) keys = std::make_shared<KeyMemory>();
  index_.emplace(connection_, destination_.address_type, std::move(keys));
  if (take_over_ == nullptr) storing_.emplace(connection_, lock_);
}

RecordWriter::~RecordWriter() {
  // Its end may store records again.
  pipelined_.reset();
  // Nor may it leave rows of the open group behind.
  index_.reset();
  if (observer_ != nullptr && connection_.IsOpen()) GroupedWrites::Of(connection_).Flush();
  GroupedWrites::Leave(connection_, *this);
}

void RecordWriter::Observe(RowObserver& observer) {
  const std::lock_guard lock(connection_.CallMutex());
  observer_ = &observer;
  if (pipelined_ != nullptr) pipelined_->Observe(observer);
}

void RecordWriter::BeforeCommit() {
  numbers_->BeforeCommit();
  if (observer_ == nullptr) return;
  // Only then it is known what stands, and under which numbers.
  if (pipelined_ != nullptr) pipelined_->Flush();
  observer_->WriteDown();
}

void RecordWriter::GroupCommitted() {
  large_.GroupEnded();
  if (!in_group_.IsEmpty()) groups_lost_ = 0;
  in_group_.Clear();
  kept_.Clear();
  attempts_ = 0;
  if (observer_ != nullptr) observer_->Committed();
}

bool RecordWriter::GroupLost(const RuntimeError& reason) {
  large_.GroupEnded();
  // Those that are still under way belong to the group: they are told with it, and not once more by themselves.
  if (pipelined_ != nullptr) pipelined_->Forget();
  if (observer_ != nullptr) observer_->Lost();
  if (MayRetry()) {
    ++attempts_;
    is_uncertain_ |= recovery_->LastLoss() == Recovery::Loss::kUncertain;
    // What the observer wrote down of other records may stand, too.
    return kept_.size() > 0 || is_uncertain_;
  }
  GiveUp(reason);
  return false;
}

void RecordWriter::Keep(std::int64_t record, const RecordValues& values, bool has_number, bool is_update) {
  if (is_replaying_) return;
  in_group_.Add(record);
  if (recovery_ != nullptr && group_.IsOpen()) {
    kept_.Add(record, values, destination_.number_field, has_number, is_update);
  }
}

bool RecordWriter::MayRetry() const {
  if (recovery_ == nullptr || attempts_ >= kMostAttempts) return false;
  const Recovery::Loss loss = recovery_->LastLoss();
  return loss == Recovery::Loss::kUndone || (loss == Recovery::Loss::kUncertain && observer_ != nullptr);
}

// After a failure outside of the caller's own transactions: whether the record is worth another attempt. Its group,
// which cannot stand then, is lost.
bool RecordWriter::IsLostInPassing(const RuntimeError& reason) {
  if (!MayRetry()) return false;
  group_.Lose(reason);
  return MayRetry();
}

void RecordWriter::GiveUp(const RuntimeError& reason) {
  if (!in_group_.IsEmpty()) ++groups_lost_;
  // Asked for later, when the connection may have other troubles or none.
  if (stop_reason_.empty()) stop_reason_ = connection_.StopReason();
  in_group_.Lose(reason, late_errors_);
  kept_.Clear();
  is_uncertain_ = false;
}

void RecordWriter::GroupNotOpened(const RuntimeError& reason) {
  if (!is_uncertain_) {
    GiveUp(reason);
    return;
  }
  GiveUp({reason.Number(),
          reason.Description() + " Ob der Server noch gespeichert hat, was er zuletzt bekam, ist ungewiss."});
}

void RecordWriter::FlushRows() {
  if (kept_.size() == 0 && !is_uncertain_) return;
  Trap([this] { StoreKept(); }, [this](const RuntimeError& error) { group_.Lose(error); });
}

void RecordWriter::StoreKept() {
  if (is_uncertain_ && observer_->Stands()) {
    is_uncertain_ = false;
    lock_.NoteStands();
    GroupCommitted();
    return;
  }
  is_uncertain_ = false;
  if (!lock_.HoldAgain()) {
    GiveUp({ErrorNumber::kDatabase, kLookUpsTooOld});
    return;
  }
  std::optional<RuntimeError> lost;
  std::vector<std::int64_t> refused;
  is_replaying_ = true;
  group_.Retry([&] {
    for (std::size_t i = 0; i < kept_.size() && !lost; ++i) {
      KeptRecords::Entry& entry = kept_[i];
      // A number that is chosen for it belongs to this attempt.
      RecordValues values = kept_.ValuesOf(entry);
      Trap(
          [&] {
            const bool is_update = StoreOnce(entry.record, values).kind == StoreResult::Kind::kUpdated;
            // What it was in the attempt before counts no more.
            if (is_update && !entry.is_update) late_updates_.push_back(entry.record);
            if (!is_update && entry.is_update) std::erase(late_updates_, entry.record);
            entry.is_update = is_update;
          },
          [&](const RuntimeError& error) {
            // What keeps one from being stored by waiting for others keeps all, each for as long again.
            if (!connection_.InTransaction() || recovery_->LastLoss() != Recovery::Loss::kLasting ||
                !StopReason().empty()) {
              lost = error;
            } else {
              late_errors_.Add({entry.record, entry.record, error, FieldOf(error)});
              refused.push_back(entry.record);
            }
          });
    }
  });
  is_replaying_ = false;
  if (!refused.empty()) {
    kept_.Remove([&](const KeptRecords::Entry& entry) {
      return std::find(refused.begin(), refused.end(), entry.record) != refused.end();
    });
    in_group_.Clear();
    for (std::size_t i = 0; i < kept_.size(); ++i) in_group_.Add(kept_[i].record);
  }
  if (lost) throw RuntimeError(*lost);
}

std::string RecordWriter::StopReason() const {
  if (!connection_.IsOpen()) {
    return "Die Verbindung zur Datenbank ist geschlossen. Öffnen Sie sie wieder, bevor Sie fortfahren.";
  }
  std::string reason = stop_reason_.empty() ? connection_.StopReason() : stop_reason_;
  if (reason.empty() && groups_lost_ >= kMostGroupsLost) {
    reason = std::to_string(groups_lost_) +
             " Gruppen von Datensätzen nacheinander konnten nicht gespeichert werden. Beheben Sie die Ursache, "
             "die bei den Fehlern steht, bevor Sie fortfahren.";
  }
  return reason;
}

Refusal RecordWriter::Convert(const Recordset& record, const std::vector<std::size_t>& columns) {
  for (StoredValue& value : values_) value = std::monostate();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (record.IsNull(column)) continue;
    const std::size_t field = columns[column];
    Refusal refusal =
        ConvertField(destination_.fields[field], {record.TextAt(column)}, dates_[field], values_[field]);
    if (refusal) return refusal;
    large_.Note(field, values_[field]);
  }
  return Complete();
}

// The own record set of the import class, which knows more of its values than others.
Refusal RecordWriter::Convert(const BorrowingRecordset& record) {
  const auto cells = record.cells();
  for (std::size_t field = 0; field < cells.size(); ++field) {
    const auto& cell = cells[field];
    if (!record.IsGiven(cell)) {
      values_[field] = std::monostate();
    } else if (static_cast<std::int64_t>(cell.text.size()) <= plain_sizes_[field]) {
      values_[field] = cell.text;
    } else {
      Refusal refusal = ConvertField(destination_.fields[field], cell, dates_[field], values_[field]);
      if (refusal) [[unlikely]]
        return refusal;
      large_.Note(field, values_[field]);
    }
  }
  return Complete();
}

Refusal RecordWriter::Complete() {
  if (Refusal refusal = large_.WhyTooLarge(destination_)) return refusal;
  FillPresets();
  return LackOfMandatory();
}

void RecordWriter::FillPresets() {
  if (presets_.empty()) return;
  const auto is_empty = [this](std::size_t field) {
    return std::holds_alternative<std::monostate>(values_[field]);
  };
  if (std::ranges::none_of(presets_, [&](const Preset& preset) { return is_empty(preset.field); })) return;
  // A row that is there keeps what it has.
  if (const auto* number = std::get_if<std::int64_t>(&values_[destination_.number_field]);
      number != nullptr && overwrite_) {
    if (Exists(*number)) return;
  }
  for (const Preset& preset : presets_) {
    if (is_empty(preset.field)) values_[preset.field] = preset.value;
  }
}

bool RecordWriter::Exists(std::int64_t number) {
  if (find_ == nullptr) {
    find_ = connection_.Prepare("SELECT 1 FROM " +
                                (destination_.trial_of.empty() ? destination_.table : destination_.trial_of) +
                                " WHERE " + destination_.fields[destination_.number_field].column + " = ?");
  }
  find_->BindInteger(0, number);
  return !find_->Open()->IsEof();
}

// FillPresets has left out what a new row would have.
bool RecordWriter::IsKnownToExist(const RecordValues& values) const {
  return std::ranges::any_of(presets_, [&](const Preset& preset) {
    return std::holds_alternative<std::monostate>(values[preset.field]);
  });
}

Refusal RecordWriter::LackOfMandatory() const {
  for (const std::size_t i : mandatory_) {
    const auto* text = std::get_if<std::string_view>(&values_[i]);
    if (!std::holds_alternative<std::monostate>(values_[i]) && (text == nullptr || !text->empty())) continue;
    return FieldError(ErrorNumber::kInvalidUseOfNull,
                      "Das Pflichtfeld '" + destination_.fields[i].name + "' ist leer.",
                      destination_.fields[i].name);
  }
  return std::nullopt;
}

void RecordWriter::IndexNewRow(std::int64_t number, const IndexedAddress& address) {
  if (take_over_ != nullptr) {
    index_->RequireFit(number);
  } else {
    index_->Add(number, address);
  }
}

void RecordWriter::InsertRow(RecordValues& values, std::int64_t number, bool& inserted) {
  values[destination_.number_field] = number;
  inserted = false;
  // Where rows may be diverted, the count of the insert tells nothing.
  if (check_ != nullptr && check_->Has(number)) return;
  for (std::size_t i = 0; i < values.size(); ++i) Bind(*insert_, i, values[i]);
  inserted = insert_->Execute() != 0;
  if (check_ != nullptr) {
    check_->Require(number);
    inserted = true;
  }
  if (!inserted) return;
  if (index_ && index_->IsKept()) {
    try {
      IndexNewRow(number, address_fields_.Of(values));
    } catch (const RuntimeError&) {
      group_.Undo([&] {
        remove_->BindInteger(0, number);
        remove_->Execute();
      });
      throw;
    }
  }
  // Only now that it stands.
  numbers_->Take(number);
}

// Into a trial table, of a record with a number of its own.
void RecordWriter::TakeOver(const RecordValues& values) {
  if (take_over_ == nullptr) return;
  take_over_->BindInteger(0, std::get<std::int64_t>(values[destination_.number_field]));
  take_over_->Execute();
}

// False where the record has a number of its own that exists.
bool RecordWriter::InsertNew(std::int64_t record, RecordValues& values) {
  bool inserted = false;
  // A row that turns out to have another number is taken back without knowing it.
  const auto steps =
      check_ == nullptr ? GroupedWrites::Record::kOneStatement : GroupedWrites::Record::kSeveralStatements;
  StoreInGroup(steps, [&] {
    const auto* given = std::get_if<std::int64_t>(&values[destination_.number_field]);
    const bool has_number = given != nullptr;
    if (has_number) {
      TakeOver(values);
      InsertRow(values, *given, inserted);
    } else {
      InsertNumbered(*numbers_, [&](std::int64_t number) {
        InsertRow(values, number, inserted);
        // One that nobody else has is not taken.
        if (!inserted && MayBeDropped(connection_, destination_) && !Exists(number))
          RefuseDropped(destination_);
        return inserted;
      });
    }
    if (!inserted) return;
    Keep(record, values, has_number, false);
    if (observer_ != nullptr) {
      observer_->Inserted(record, std::get<std::int64_t>(values[destination_.number_field]), values);
    }
  });
  return inserted;
}

void RecordWriter::IndexStoredRow(std::int64_t number) {
  if (take_over_ != nullptr) return index_->RequireFit(number);
  if (select_address_ == nullptr) {
    std::string columns;
    const auto add = [&](const std::optional<std::size_t>& field) {
      columns += (columns.empty() ? "" : ", ") + (field ? destination_.fields[*field].column : "NULL");
    };
    for (const auto& field : address_fields_.fields()) add(field);
    select_address_ = connection_.Prepare("SELECT " + columns + " FROM " + destination_.table + " WHERE " +
                                          destination_.fields[destination_.number_field].column + " = ?");
  }
  select_address_->BindInteger(0, number);
  const RecordsetPtr row = select_address_->Open();
  if (row->IsEof()) return;
  index_->Write(number, {row->TextAt(0),
                         row->TextAt(1),
                         row->TextAt(2),
                         {row->TextAt(3), row->TextAt(4), row->TextAt(5)},
                         row->TextAt(6),
                         destination_.joins_names});
}

FieldError RecordWriter::Existing(const RecordValues& values) const {
  const std::int64_t number = std::get<std::int64_t>(values[destination_.number_field]);
  return {ErrorNumber::kNumberExists,
          "Die Nummer " + std::to_string(number) + " gibt es in '" + ShownTable(destination_) +
              "' schon; die gespeicherte Adresse bleibt. Zum Überschreiben ist " + OverwriteKey(destination_) +
              "=1 im Abschnitt [CfgSettings] der Importspezifikation anzugeben.",
          destination_.fields[destination_.number_field].name};
}

void RecordWriter::UpdateExisting(std::int64_t record, const RecordValues& values) {
  const std::int64_t number = std::get<std::int64_t>(values[destination_.number_field]);
  std::vector<bool> given(values.size());
  std::size_t count = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto* text = std::get_if<std::string_view>(&values[i]);
    given[i] = i != destination_.number_field && !std::holds_alternative<std::monostate>(values[i]) &&
               (text == nullptr || !text->empty());
    if (given[i]) ++count;
  }
  if (count == 0) {
    const std::lock_guard lock(connection_.CallMutex());
    if (observer_ != nullptr) observer_->Updated(record, number, values, given);
    return;
  }
  StoreInGroup(GroupedWrites::Record::kSeveralStatements, [&] {
    if (observer_ != nullptr) observer_->Updating(number, given);
    Statement& update = updates_.Of(given);
    std::size_t parameter = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (given[i]) Bind(update, parameter++, values[i]);
    }
    update.BindInteger(parameter, number);
    if (update.Execute() == 0) RefuseUnchanged(destination_, number);
    if (index_ && index_->IsKept()) {
      IndexStoredRow(number);
    } else if (index_) {
      index_->NoteChange(number);
    }
    Keep(record, values, true, true);
    if (observer_ != nullptr) observer_->Updated(record, number, values, given);
  });
}

StoreResult RecordWriter::StoreNow(std::int64_t record, RecordValues& values) {
  if (recovery_ == nullptr || (connection_.InTransaction() && !group_.IsOpen()))
    return StoreOnce(record, values);
  const StoredValue number = values[destination_.number_field];
  StoreResult result;
  const auto attempt = [&] {
    values[destination_.number_field] = number;
    if (storing_ && !lock_.HoldAgain()) throw RuntimeError(ErrorNumber::kDatabase, kLookUpsTooOld);
    result = StoreOnce(record, values);
  };
  for (int attempts = 1; !Trap(attempt, [&](const RuntimeError& error) {
         if (attempts == kMostAttempts || !IsLostInPassing(error)) throw;
       });) {
    ++attempts;
  }
  return result;
}

StoreResult RecordWriter::StoreOnce(std::int64_t record, RecordValues& values) {
  bool is_new = false;
  if (IsKnownToExist(values)) {
    if (take_over_ != nullptr)
      group_.Store(*this, GroupedWrites::Record::kOneStatement, [&] { TakeOver(values); });
  } else {
    is_new = InsertNew(record, values);
  }
  if (is_new) {
    ++new_in_a_row_;
  } else {
    new_in_a_row_ = 0;
    if (!overwrite_) {
      const std::int64_t number = std::get<std::int64_t>(values[destination_.number_field]);
      if (MayBeDropped(connection_, destination_) && !Exists(number)) RefuseDropped(destination_);
      throw Existing(values);
    }
    UpdateExisting(record, values);
  }
  return {is_new ? StoreResult::Kind::kNew : StoreResult::Kind::kUpdated,
          std::get<std::int64_t>(values[destination_.number_field])};
}

std::int64_t RecordWriter::TakeLateUpdate() {
  if (late_updates_.empty()) return 0;
  const std::int64_t record = late_updates_.front();
  late_updates_.pop_front();
  return record;
}

StoreResult RecordWriter::StoreThroughPipeline(std::int64_t record) {
  pipelined_->MakeRoom();
  StoreResult result;
  StoreInGroup(GroupedWrites::Record::kOneStatement, [&] {
    const auto* given = std::get_if<std::int64_t>(&values_[destination_.number_field]);
    const std::int64_t number = given != nullptr ? *given : numbers_->Next();
    // Perhaps of an address that it overwrites.
    if (given != nullptr && index_) index_->NoteChange(number);
    pipelined_->Add(record, values_, number, address_fields_.Of(values_));
    numbers_->Take(number);
    Keep(record, values_, given != nullptr, false);
    result.number = number;
  });
  // Behind the step, as the group may be lost with it, or records have to be stored again, this one among them.
  pipelined_->SendWhenDue();
  return result;
}

Refusal RecordWriter::Try(std::int64_t record, RecordValues& values, StoreResult& result) {
  StoredValue& number = values[destination_.number_field];
  const bool is_given = std::holds_alternative<std::int64_t>(number);
  if (!is_given) number = plain_trial_->NextNumber();
  const std::int64_t of_record = std::get<std::int64_t>(number);
  const bool is_new = !is_given || !plain_trial_->Has(of_record);
  // The database looks at its constraints before it looks for the number.
  const bool is_plain = plain_trial_->WouldTake(values);
  if (is_plain && !is_new && !overwrite_) return Existing(values);
  if (is_plain && is_new) {
    if (index_ && index_->IsKept()) index_->RequireFit(of_record);
    result = {StoreResult::Kind::kNew, of_record};
  } else {
    // A row of the number alone stands for the one that is not in the trial table.
    if (!is_new && plain_trial_->HasTaken(of_record)) {
      connection_.Execute("INSERT INTO " + destination_.table + " (" +
                          destination_.fields[destination_.number_field].column + ", Bez1) VALUES (" +
                          std::to_string(of_record) + ", '') ON CONFLICT DO NOTHING");
    }
    result = StoreNow(record, values);
  }
  if (is_new) plain_trial_->Take(of_record);
  return std::nullopt;
}

Refusal RecordWriter::Store(std::int64_t record, const Recordset& row, const std::vector<std::size_t>& columns,
                            StoreResult& result) {
  return StoreMade(
      record, [&] { return Convert(row, columns); }, result);
}

Refusal RecordWriter::Store(std::int64_t record, const BorrowingRecordset& row, StoreResult& result) {
  return StoreMade(
      record, [&] { return Convert(row); }, result);
}

template <class Make>
Refusal RecordWriter::StoreMade(std::int64_t record, const Make& make, StoreResult& result) {
  // What is kept with a connection ends with it.
  if (!connection_.IsOpen()) throw RuntimeError(ErrorNumber::kObjectClosed);
  if (plain_trial_ != nullptr) {
    // It has no group and shares nothing with other threads.
    Refusal refusal = make();
    return refusal ? refusal : Try(record, values_, result);
  }
  // Nobody ends the group between the look-up that holds and the record. Pipelined records may be stored again at any
  // time, and share everything but values_ and dates_ with this one.
  const std::lock_guard lock(connection_.CallMutex());
  // A group that is lost for good ends the import: what is stored behind it would leave a gap that nobody goes on at.
  if (!stop_reason_.empty()) throw RuntimeError(ErrorNumber::kDatabase, stop_reason_);
  if (storing_) lock_.RequireLookUp();
  large_.BeginRecord();
  if (Refusal refusal = make()) return refusal;
  StoreAsMayBe(record, result);
  if (large_.NoteStored() && pipelined_ != nullptr) pipelined_->Flush();
  if (large_.IsGroupFull()) group_.Flush();
  return std::nullopt;
}

void RecordWriter::StoreAsMayBe(std::int64_t record, StoreResult& result) {
  if (pipelined_ == nullptr) {
    result = StoreNow(record, values_);
    return;
  }
  if (new_in_a_row_ >= kNewAgain && !IsKnownToExist(values_)) {
    const bool is_own = !connection_.InTransaction() || group_.IsOpen();
    if (Trap([&] { result = StoreThroughPipeline(record); },
             [&](const RuntimeError& error) {
               if (!is_own || !IsLostInPassing(error)) throw;
             })) {
      return;
    }
  }
  pipelined_->Flush();
  result = StoreNow(record, values_);
}

}  // namespace kestrel::host
