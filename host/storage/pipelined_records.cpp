#include "storage/pipelined_records.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>

#include "kestrel/runtime_error.h"
#include "schema/own_tables.h"
#include "storage/copied_tables.h"
#include "storage/field_error.h"
#include "storage/records_in_group.h"

namespace kestrel::host {

namespace {

// Under way together behind one that failed.
constexpr std::size_t kFewest = 32;
// For fewer a statement costs less than leaving the pipeline.
constexpr std::size_t kFewestCopied = 2 * RowInserts::kMostRows;
constexpr std::size_t kMadeBetweenLooks = 16;
// A database that takes no copies is not asked again.
constexpr int kMostFailedCopies = 3;

}  // namespace

PipelinedRecords::PipelinedRecords(Connection& connection, Pipeline& pipeline, const Destination& destination,
                                   const std::shared_ptr<KeyMemory>& keys, StoreNow store_now, Undone undone,
                                   LateErrors& errors)
    : connection_(connection),
      pipeline_(pipeline),
      destination_(destination),
      group_(GroupedWrites::Of(connection)),
      store_now_(std::move(store_now)),
      undone_(std::move(undone)),
      errors_(errors),
      // A number that is taken is an error here.
      insert_(connection, InsertTarget(destination), destination.fields.size(), RowInserts::Existing::kFails),
      values_(destination.fields.size()),
      copies_(destination.trial_of.empty() && !destination.overrides_identity &&
              TakesCopies(connection, destination.table) &&
              (destination.address_type == 0 || TakesCopies(connection, OwnTable(connection, "Adressindex")))),
      records_(copies_ ? kMostCopied : kMost) {
  insert_.Of(1);
  check_ = InsertCheck::For(connection, destination);
  copies_ = copies_ && check_ == nullptr;
  if (!destination.trial_of.empty()) take_over_ = connection.Prepare(TakeOverText(destination));
  // So is an index row that is left of an address whose number is free.
  if (destination.address_type != 0) {
    index_.emplace(connection, destination.address_type, keys);
  }
  for (std::vector<Pipeline::CopyTo>& tables : copied_) {
    tables.resize(index_ ? 2 : 1);
    tables[0].target = InsertTarget(destination_);
    if (index_) tables[1].target = AddressIndex::CopyTarget();
  }
}

PipelinedRecords::~PipelinedRecords() {
  const std::lock_guard lock(connection_.CallMutex());
  try {
    Flush();
    // Nothing is told any more, of what was forgotten neither.
    pipeline_.Flush();
  } catch (const std::exception&) {
    // They could not even be stored one by one.
    Forget();
    group_.Lose(RuntimeError(ErrorNumber::kOutOfMemory));
  }
  GroupedWrites::Leave(connection_, *this);
}

void PipelinedRecords::MakeRoom() {
  if (count_ >= (MayCopy() ? kMostCopied : most_)) Flush();
}

void PipelinedRecords::Flush() {
  SendWaiting();
  if (count_ != 0) pipeline_.Flush();
}

void PipelinedRecords::Add(std::int64_t record, const RecordValues& values, std::int64_t number,
                           const IndexedAddress& address) {
  // What may fail, or run a query that ends what is under way, comes before the record has its place.
  const bool is_kept = index_ && index_->IsKept();
  if (is_kept && take_over_ != nullptr) index_->RequireFit(number);
  if (is_kept && take_over_ == nullptr) index_->MakeRow(number, address, row_);
  Entry& entry = records_[count_];
  entry.is_indexed = is_kept && take_over_ == nullptr;
  if (entry.is_indexed) std::swap(entry.row, row_);
  entry.record = record;
  entry.number = number;
  entry.values.clear();
  Pack(values, kNoField, entry.values);
  entry.content.clear();
  entry.is_foreseen = observer_ != nullptr && observer_->Foresee(values, entry.content);
  // While its values are at hand.
  if (copies_ && made_ == count_ - sent_) MakeRow(entry, values);
  ++count_;
  if (group_.MayWriteBehind()) group_.WriteBehind(*this);
}

void PipelinedRecords::SendWhenDue() {
  if (MayCopy()) {
    if (count_ % kMadeBetweenLooks == 0) pipeline_.GoOn();
    // Behind others they wait until the server has done with those, however many they become.
    if (count_ - sent_ >= (IsCopying() ? kMostWaiting : kMost)) SendWaiting();
    return;
  }
  const std::size_t at_once = group_.MayWriteBehind() ? RowInserts::kMostRows : 1;
  if (count_ - sent_ >= at_once) SendWaiting();
}

void PipelinedRecords::SendWaiting() {
  const auto send = [this] {
    while (sent_ < count_) {
      if (MayCopy() && count_ - sent_ >= kFewestCopied) {
        CopyRows();
      } else {
        SendRows();
      }
    }
  };
  Trap(send, [this](const RuntimeError&) {
    // Each record tells its own error.
    pipeline_.Flush();
    RetryPipeline();
  });
}

void PipelinedRecords::SendRows() {
  const auto waiting = [this] { return std::span(records_).subspan(sent_, count_ - sent_); };
  const bool is_indexed = waiting().front().is_indexed;
  const auto alike =
      std::ranges::find_if(waiting(), [&](const Entry& entry) { return entry.is_indexed != is_indexed; });
  const std::size_t rows = RowInserts::AtOnce(static_cast<std::size_t>(alike - waiting().begin()));
  // All before anything is sent, as what is sent together must stand or fall together.
  Statement& insert = insert_.Of(rows);
  Statement* const write_index = is_indexed ? &index_->InsertOf(rows) : nullptr;
  Statement* const check = check_ != nullptr ? &check_->Of(rows) : nullptr;
  for (Statement* statement : {take_over_.get(), &insert, check, write_index}) {
    if (statement != nullptr) pipeline_.MakeReady(*statement);
  }
  // What was on its way had to be stored again, and these with it.
  if (count_ == 0) return;
  std::size_t parameter = 0;
  for (std::size_t i = 0; i < rows; ++i) {
    const Entry& entry = waiting()[i];
    const RecordValues& values = ValuesOf(entry);
    for (std::size_t field = 0; field < values.size(); ++field) {
      if (field == destination_.number_field) {
        insert.BindInteger(parameter++, entry.number);
      } else {
        Bind(insert, parameter++, values[field]);
      }
    }
    if (check != nullptr) check->BindInteger(i, entry.number);
    if (write_index != nullptr) index_->BindNew(*write_index, i, entry.row);
    if (take_over_ != nullptr) {
      take_over_->BindInteger(0, entry.number);
      pipeline_.Send(*take_over_, *this);
    }
  }
  pipeline_.Send(insert, *this);
  if (check != nullptr) pipeline_.Send(*check, *this);
  if (write_index != nullptr) pipeline_.Send(*write_index, *this);
  sent_ += rows;
  ForgetRows();
}

void PipelinedRecords::MakeRow(const Entry& entry, const RecordValues& values) {
  CopiedRows& rows = copied_[0][0].rows;
  for (std::size_t field = 0; field < values.size(); ++field) {
    if (field == destination_.number_field) {
      rows.AddInteger(entry.number);
    } else {
      Append(rows, values[field]);
    }
  }
  rows.EndRow();
  if (entry.is_indexed) index_->AppendNew(copied_[0][1].rows, entry.row);
  ++made_;
}

void PipelinedRecords::ForgetRows() {
  for (Pipeline::CopyTo& table : copied_[0]) table.rows.Clear();
  made_ = 0;
}

void PipelinedRecords::CopyRows() {
  if (made_ != count_ - sent_) {
    ForgetRows();
    for (const Entry& entry : std::span(records_).subspan(sent_, count_ - sent_))
      MakeRow(entry, ValuesOf(entry));
  }
  // What is on its way is ended first, and may have to be stored again with these.
  pipeline_.Flush();
  if (count_ == 0 || !MayCopy()) return;
  sent_ = count_;
  is_copy_ = true;
  std::swap(copied_[0], copied_[1]);
  ForgetRows();
  pipeline_.Copy(copied_[1], *this);
}

std::string PipelinedRecords::NameOf(const RecordValues& values) const {
  const auto& fields = destination_.fields;
  if (const auto* number = std::get_if<std::int64_t>(&values[destination_.number_field])) {
    return fields[destination_.number_field].name + " " + std::to_string(*number) + ": ";
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (const auto text = TextOf(values[i]); !text.empty()) {
      return fields[i].name + " '" + std::string(text) + "': ";
    }
  }
  return {};
}

bool PipelinedRecords::GroupLost(const RuntimeError&) {
  Forget();
  return false;
}

void PipelinedRecords::PipelineSucceeded() {
  has_copied_ |= std::exchange(is_copy_, false);
  most_ = std::min(2 * most_, kMost);
  const std::size_t standing = sent_;
  if (observer_ != nullptr) {
    for (const Entry& entry : std::span(records_).first(standing)) {
      if (entry.is_foreseen) {
        observer_->InsertedAsForeseen(entry.record, entry.number, entry.content);
      } else {
        observer_->Inserted(entry.record, entry.number, ValuesOf(entry));
      }
    }
  }
  // Those that wait come to the front, as memory that was used just now is faster.
  const std::size_t waiting = count_ - standing;
  for (std::size_t i = 0; i < waiting; ++i) std::swap(records_[i], records_[standing + i]);
  sent_ = 0;
  count_ = waiting;
}

std::int64_t PipelinedRecords::LeastGiven(std::span<const Entry> entries) const {
  std::int64_t least = INT64_MAX;
  for (const Entry& entry : entries) {
    const bool is_own = !std::holds_alternative<std::monostate>(ValuesOf(entry)[destination_.number_field]);
    if (!is_own) least = std::min(least, entry.number);
  }
  return least;
}

void PipelinedRecords::RetryPipeline() {
  if (std::exchange(is_copy_, false) && !has_copied_ && ++failed_copies_ == kMostFailedCopies) copies_ = false;
  const auto undone = std::span(records_).first(count_);
  Forget();
  if (undone.empty()) return;
  if (group_.IsOpen() && !connection_.InTransaction()) {
    // They are lost with their group, which tells them or does them again.
    group_.Lose(RuntimeError(ErrorNumber::kDatabase, connection_.StopReason()));
    return;
  }
  most_ = kFewest;
  undone_(undone.front().record, LeastGiven(undone));
  group_.Retry([&] {
    for (std::size_t i = 0; i < undone.size(); ++i) {
      // Another record's may be unpacked before this one stands.
      RecordValues values = ValuesOf(undone[i]);
      const std::int64_t record = undone[i].record;
      // Named before, as storing gives a record its number.
      const std::string name = NameOf(values);
      std::optional<RuntimeError> failure;
      std::string field;
      Trap([&] { store_now_(record, values); },
           [&](const RuntimeError& error) {
             failure = error;
             field = FieldOf(error);
           });
      if (!failure) continue;
      errors_.Add({record, record, RuntimeError(failure->Number(), name + failure->Description()), field});
      if (i + 1 == undone.size() || connection_.StopReason().empty()) continue;
      // The others would only wait for the same failure.
      RecordsInGroup others;
      while (++i < undone.size()) others.Add(undone[i].record);
      others.Lose(*failure, errors_);
    }
  });
}

}  // namespace kestrel::host
