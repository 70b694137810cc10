#include "storage/pipelined_records.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "storage/field_error.h"
#include "storage/records_in_group.h"

namespace kestrel::host {

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
      insert_(connection.Prepare(InsertText(destination))),
      records_(kMost) {
  if (!destination.trial_of.empty()) take_over_ = connection.Prepare(TakeOverText(destination));
  // So is an index row that is left of an address whose number is free.
  if (destination.address_type != 0) {
    index_.emplace(connection, destination.address_type, keys);
  }
}

PipelinedRecords::~PipelinedRecords() {
  const std::lock_guard lock(connection_.CallMutex());
  if (count_ != 0) pipeline_.Flush();
}

void PipelinedRecords::MakeRoom() {
  if (count_ == kMost) pipeline_.Flush();
}

void PipelinedRecords::Send(std::int64_t record, const RecordValues& values, std::int64_t number,
                            const IndexedAddress& address) {
  // What may fail comes before the first statement is sent.
  Statement* write_index = nullptr;
  if (index_ && index_->IsKept()) {
    if (take_over_ != nullptr) {
      index_->RequireFit(number);
    } else {
      write_index = &index_->PrepareNew(number, address);
    }
  }
  // A statement that a new session has to prepare ends the pipeline: between an address and its index row, the first
  // would stand for itself, and be lost to a failure of the second without anybody doing it again.
  for (Statement* statement : {take_over_.get(), insert_.get(), write_index}) {
    if (statement != nullptr) pipeline_.MakeReady(*statement);
  }
  for (std::size_t i = 0; i < values.size(); ++i) Bind(*insert_, i, values[i]);
  insert_->BindInteger(destination_.number_field, number);
  if (take_over_ != nullptr) {
    take_over_->BindInteger(0, number);
    pipeline_.Send(*take_over_, *this);
  }
  pipeline_.Send(*insert_, *this);
  Entry& entry = records_[count_++];
  entry.record = record;
  entry.number = number;
  entry.kept.Keep(values);
  if (write_index != nullptr) pipeline_.Send(*write_index, *this);
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

void PipelinedRecords::PipelineSucceeded() {
  const std::size_t count = std::exchange(count_, 0);
  if (stands_ == nullptr) return;
  for (std::size_t i = 0; i < count; ++i) {
    Entry& entry = records_[i];
    stands_(entry.record, entry.number, entry.kept.values());
  }
}

std::int64_t PipelinedRecords::LeastGiven(std::size_t count) {
  std::int64_t least = INT64_MAX;
  for (std::size_t i = 0; i < count; ++i) {
    const bool is_own =
        !std::holds_alternative<std::monostate>(records_[i].kept.values()[destination_.number_field]);
    if (!is_own) least = std::min(least, records_[i].number);
  }
  return least;
}

void PipelinedRecords::RetryPipeline() {
  const std::size_t count = std::exchange(count_, 0);
  if (count == 0) return;
  if (group_.IsOpen() && !connection_.InTransaction()) {
    // They are lost with their group, which tells them or does them again.
    group_.Lose(RuntimeError(ErrorNumber::kDatabase, connection_.StopReason()));
    return;
  }
  undone_(records_.front().record, LeastGiven(count));
  group_.Retry([&] {
    for (std::size_t i = 0; i < count; ++i) {
      RecordValues& values = records_[i].kept.values();
      const std::int64_t record = records_[i].record;
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
      errors_.push_back(
          {record, record, RuntimeError(failure->Number(), name + failure->Description()), field});
      if (i + 1 == count || connection_.StopReason().empty()) continue;
      // The others would only wait for the same failure.
      RecordsInGroup others;
      while (++i < count) others.Add(records_[i].record);
      others.Lose(*failure, errors_);
    }
  });
}

}  // namespace kestrel::host
