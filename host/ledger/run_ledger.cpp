#include "ledger/run_ledger.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

#include "ledger/run_state.h"
#include "platform/base/number.h"
#include "schema/host_schema.h"
#include "schema/settings.h"
#include "storage/field_error.h"
#include "storage/free_numbers.h"
#include "storage/grouped_writes.h"
#include "storage/retried_transaction.h"

namespace kestrel::host {

namespace {

// Where a row has so much, the next entry begins another one: an undo works through a row in one transaction.
constexpr std::size_t kBytesOfARow = 32768;
constexpr std::int64_t kEntriesOfARow = 1000;

// Of so many new addresses of a run the values are kept: of most runs all, and of large ones so few that they cost
// next to nothing.
constexpr std::string_view kValuesKept = "5000";

void BindTextOrNull(Statement& statement, std::size_t parameter, std::string_view text) {
  if (text.empty()) {
    statement.BindNull(parameter);
  } else {
    statement.BindText(parameter, text);
  }
}

}  // namespace

bool IsLedgerWanted(Connection& connection) {
  return Settings::Of(connection).Get("Importlauf", "Fuehren", "1") != "0";
}

RunLedger::RunLedger(Connection& connection, const Destination& destination, const RunDescription& description)
    : connection_(connection),
      destination_(destination),
      told_table_(ToldTable(destination)),
      values_to_keep_(
          ParseWholeNumber(Settings::Of(connection).Get("Importlauf", "Werte", kValuesKept)).value_or(0)) {
  const std::string columns = ColumnsOf(destination);
  const std::string begin = LedgerTime();
  const auto insert = connection_.Prepare(
      "INSERT INTO Importlauf (LaufNr, Zustand, ProgID, Tabelle, Spalten, Spezifikation, Pruefsumme, Quelle, "
      "Quellgroesse, Quellzeit, Benutzer, Beginn, Gelesen, Neu, Aktualisiert, Zurueckgehalten, Abgewiesen, "
      "Fehler, Gekuerzt) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, 0, 0, 0, 0, 0, 0, 0) ON CONFLICT DO NOTHING");
  insert_ = connection_.Prepare(
      "INSERT INTO Importlaufzeilen (ZeilenNr, LaufNr, Ereignis, Datensatz, BisDatensatz, Anzahl, Tabelle, "
      "Nummer, "
      "BisNummer, Werte) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  row_before_ = std::make_unique<StoredRow>(connection_, destination_);
  GroupedWrites::Of(connection_).Flush();
  const auto numbers = FreeNumbers::Of(connection_, "Importlauf", "LaufNr");
  InRetriedTransaction(connection_, [&] {
    // An attempt before, which may stand after all.
    if (number_ != 0) {
      lock_.reset();
      connection_.Execute("DELETE FROM Importlauf WHERE LaufNr = " + std::to_string(number_));
    }
    insert->BindText(1, kRunning);
    insert->BindText(2, description.prog_id);
    insert->BindText(3, told_table_);
    insert->BindText(4, columns);
    BindTextOrNull(*insert, 5, description.specification);
    BindTextOrNull(*insert, 6, description.checksum);
    BindTextOrNull(*insert, 7, description.source);
    if (description.source_size < 0) {
      insert->BindNull(8);
    } else {
      insert->BindInteger(8, description.source_size);
    }
    BindTextOrNull(*insert, 9, description.source_time);
    BindTextOrNull(*insert, 10, description.user);
    insert->BindText(11, begin);
    InsertNumbered(*numbers, [&](std::int64_t number) {
      // Before anybody can see the run. A lock that somebody else is just looking at is passed over.
      std::optional<RunLock> lock = RunLock::Acquire(connection_, number);
      if (!lock) return false;
      lock_ = std::make_unique<RunLock>(std::move(*lock));
      insert->BindInteger(0, number);
      // Else it is somebody else's, whom another attempt leaves alone.
      if (insert->Execute() == 0) return false;
      number_ = number;
      return true;
    });
    numbers->Take(number_);
  });
}

RunLedger::~RunLedger() {
  // Without its lock the run is one whose program ended, and as such it is marked.
  lock_.reset();
  if (is_ended_ || !connection_.IsOpen()) return;
  Trap([this] { RestoreLedger(connection_); }, [](const RuntimeError&) {});
}

void RunLedger::HandOver(std::int64_t record) {
  const std::lock_guard lock(connection_.CallMutex());
  const std::int64_t source_record = next_source_record_++;
  // Ordinals follow each other.
  if (stretches_.empty() || SourceRecord(record) != source_record)
    stretches_.push_back({record, source_record});
}

std::int64_t RunLedger::SourceRecord(std::int64_t record) const {
  const auto behind = std::ranges::upper_bound(stretches_, record, {}, &Stretch::record);
  const Stretch& stretch = *std::prev(behind);
  return stretch.source_record + (record - stretch.record);
}

LedgerBlockWriter& RunLedger::BlockFor(Rows& rows, std::string_view event) {
  if (rows.count > rows.written) {
    Row& last = rows.rows[rows.count - 1];
    if (last.event == event && last.block.text().size() < kBytesOfARow && last.block.count() < kEntriesOfARow) {
      return last.block;
    }
  }
  if (rows.rows.size() == rows.count) rows.rows.emplace_back();
  Row& row = rows.rows[rows.count++];
  row.event = event;
  row.block.Clear();
  return row.block;
}

void RunLedger::NotStored(std::int64_t first, std::int64_t last, std::string_view event) {
  const std::lock_guard lock(connection_.CallMutex());
  for (std::int64_t record = first; record <= last; ++record) BlockFor(not_stored_, event).Begin(record, {});
  // Of many records held back one after the other none is written down.
  if (lock_ != nullptr) Trap([this] { lock_->Keep(); }, [](const RuntimeError&) {});
  PassOver(last);
}

void RunLedger::PassOver(std::int64_t last) {
  const std::lock_guard lock(connection_.CallMutex());
  next_source_record_ = std::max(next_source_record_, last + 1);
}

void RunLedger::Inserted(std::int64_t record, std::int64_t number, const RecordValues& values) {
  LedgerBlockWriter& block = BlockFor(stored_, kNew);
  block.Begin(SourceRecord(record), number);
  if (values_to_keep_ > 0) {
    --values_to_keep_;
    for (const StoredValue& value : values) block.Add(value);
  } else {
    block.AddFingerprint(destination_, values);
  }
}

bool RunLedger::Foresee(const RecordValues& values, std::string& content) {
  // As many are kept as stand, of which more are under way.
  if (values_to_keep_ > 0) return false;
  content.clear();
  LedgerBlockWriter::AppendFingerprintTo(content, destination_, values);
  return true;
}

void RunLedger::InsertedAsForeseen(std::int64_t record, std::int64_t number, std::string_view content) {
  LedgerBlockWriter& block = BlockFor(stored_, kNew);
  block.Begin(SourceRecord(record), number);
  block.AddContent(content);
}

void RunLedger::Updating(std::int64_t number, const std::vector<bool>& given) {
  is_row_before_ = row_before_->Read(number);
  for (std::size_t i = 0; is_row_before_ && i < given.size(); ++i) {
    if (!given[i] || !row_before_->HoldsBytes(i)) continue;
    const std::string& field = destination_.fields[i].name;
    throw FieldError(
        ErrorNumber::kDatabase,
        "Der Datensatz " + std::to_string(number) + " der Tabelle '" + ShownTable(destination_) +
            "' enthält im Feld '" + field +
            "' keinen Text, sondern Bytes. Sie ließen sich nicht wiederherstellen und bleiben; ordnen "
            "Sie das Feld nicht zu.",
        field);
  }
}

void RunLedger::Updated(std::int64_t record, std::int64_t number, const RecordValues& values,
                        const std::vector<bool>& given) {
  LedgerBlockWriter& block = BlockFor(stored_, kUpdated);
  block.Begin(SourceRecord(record), number);
  if (!is_row_before_) return;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (given[i] && !row_before_->StaysWith(i, values[i])) {
      block.AddChange(i, row_before_->values()[i], values[i]);
    }
  }
  is_row_before_ = false;
}

std::int64_t RunLedger::KeyOf(std::int64_t row) const { return number_ * kRowsPerRun + row; }

void RunLedger::Write(const Rows& rows, bool is_stored, Pipeline* pipeline) {
  for (std::size_t i = 0; i < rows.count; ++i) {
    const LedgerBlockWriter& block = rows.rows[i].block;
    insert_->BindInteger(0, KeyOf(next_row_++));
    insert_->BindInteger(1, number_);
    insert_->BindText(2, rows.rows[i].event);
    insert_->BindInteger(3, block.first_record());
    insert_->BindInteger(4, block.last_record());
    insert_->BindInteger(5, block.count());
    if (is_stored) {
      insert_->BindText(6, told_table_);
      insert_->BindInteger(7, block.least_number());
      insert_->BindInteger(8, block.greatest_number());
    } else {
      for (std::size_t parameter = 6; parameter <= 8; ++parameter) insert_->BindNull(parameter);
    }
    insert_->BindText(9, block.text());
    if (pipeline == nullptr) {
      insert_->Execute();
    } else {
      pipeline->Send(*insert_, *this);
    }
  }
}

void RunLedger::WriteDown() {
  if (lock_ != nullptr) lock_->Keep();
  if (has_placeholder_) {
    const auto remove = connection_.Prepare("DELETE FROM Importlaufzeilen WHERE ZeilenNr = ?");
    remove->BindInteger(0, KeyOf(first_row_));
    remove->Execute();
    has_placeholder_ = false;
  }
  Pipeline* const pipeline = connection_.pipeline();
  written_from_ = next_row_;
  failure_.reset();
  Trap([&] { WriteAll(pipeline); },
       [&](const RuntimeError&) {
         // Nobody is to be told of what went out any more.
         if (pipeline != nullptr) pipeline->Flush();
         throw;
       });
  if (pipeline != nullptr) pipeline->Flush();
  if (failure_) throw RuntimeError(*std::exchange(failure_, std::nullopt));
  not_stored_.written = not_stored_.count;
}

void RunLedger::WriteAll(Pipeline* pipeline) {
  Write(stored_, true, pipeline);
  Write(not_stored_, false, pipeline);
}

void RunLedger::RetryPipeline() {
  if (!connection_.InTransaction()) {
    failure_ = RuntimeError(ErrorNumber::kDatabase, connection_.StopReason());
    return;
  }
  next_row_ = written_from_;
  Trap([this] { WriteAll(nullptr); }, [this](const RuntimeError& error) { failure_ = error; });
}

void RunLedger::Committed() {
  stored_.count = 0;
  const auto written = static_cast<std::ptrdiff_t>(std::exchange(not_stored_.written, 0));
  std::rotate(not_stored_.rows.begin(), not_stored_.rows.begin() + written, not_stored_.rows.end());
  not_stored_.count -= static_cast<std::size_t>(written);
  first_row_ = next_row_;
  has_placeholder_ = false;
  // The last record may be on its way yet.
  if (stretches_.size() > 1) stretches_.erase(stretches_.begin(), stretches_.end() - 1);
}

void RunLedger::Lost() {
  stored_.count = 0;
  next_row_ = first_row_;
  has_placeholder_ = false;
}

bool RunLedger::Stands() {
  const auto claim =
      connection_.Prepare(InsertAbsentText(connection_,
                                           "Importlaufzeilen (ZeilenNr, LaufNr, Ereignis, Datensatz, "
                                           "BisDatensatz, Anzahl) VALUES (?, ?, '', 0, 0, 0)"));
  claim->BindInteger(0, KeyOf(first_row_));
  claim->BindInteger(1, number_);
  has_placeholder_ = claim->Execute() != 0;
  if (has_placeholder_) return false;
  // How many rows there were beside it nobody has counted.
  const RecordsetPtr last = connection_.OpenRecordset(
      "SELECT max(ZeilenNr) FROM Importlaufzeilen WHERE ZeilenNr < " + std::to_string(KeyOf(0) + kRowsPerRun));
  next_row_ = last->ValueAt(0).ToInteger() - KeyOf(0) + 1;
  return true;
}

void RunLedger::End(std::string_view state, const RunCounts& counts) {
  const std::lock_guard lock(connection_.CallMutex());
  const std::string end = LedgerTime();
  GroupedWrites::Of(connection_).Flush();
  bool is_first = true;
  InRetriedTransaction(connection_, [&] {
    if (!std::exchange(is_first, false)) {
      Lost();
      if (Stands()) return;
    }
    WriteDown();
    const auto update = connection_.Prepare(
        "UPDATE Importlauf SET Zustand = ?, Ende = ?, Gelesen = ?, Neu = ?, Aktualisiert = ?, Zurueckgehalten "
        "= ?, "
        "Abgewiesen = ?, Fehler = ?, Gekuerzt = ?, GekuerzteFelder = ? WHERE LaufNr = ?");
    update->BindText(0, state);
    update->BindText(1, end);
    std::size_t parameter = 2;
    for (const std::int64_t count : {counts.read, counts.added, counts.updated, counts.held_back,
                                     counts.rejected, counts.errors, counts.cut}) {
      update->BindInteger(parameter++, count);
    }
    BindTextOrNull(*update, parameter, counts.cut_fields);
    update->BindInteger(parameter + 1, number_);
    update->Execute();
  });
  Committed();
  is_ended_ = true;
  lock_.reset();
}

}  // namespace kestrel::host
