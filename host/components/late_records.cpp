#include "components/late_records.h"

#include <mutex>
#include <utility>

namespace kestrel::host {

LateRecords::LateRecords(Connection& connection, const Destination& destination,
                         const std::shared_ptr<KeyMemory>& keys, StoreNow store_now,
                         std::deque<RuntimeError>& errors)
    : connection_(connection),
      destination_(destination),
      group_(GroupedWrites::Of(connection)),
      store_now_(std::move(store_now)),
      errors_(errors),
      // A number that is taken is an error here.
      insert_(connection.Prepare(InsertText(destination))),
      records_(kMost) {
  // So is an index row that is left of an address whose number is free.
  if (destination.address_type != 0) {
    index_.emplace(connection, destination.address_type, keys);
  }
}

LateRecords::~LateRecords() {
  const std::lock_guard lock(connection_.CallMutex());
  if (count_ != 0) connection_.FinishLateWork();
}

void LateRecords::MakeRoom() {
  if (count_ == kMost) connection_.FinishLateWork();
}

void LateRecords::Send(const RecordValues& values, std::int64_t number, const IndexedAddress& address) {
  // What may fail comes before the first statement is sent.
  Statement* const write_index = index_ && index_->IsKept() ? &index_->PrepareNew(number, address) : nullptr;
  for (std::size_t i = 0; i < values.size(); ++i) Bind(*insert_, i, values[i]);
  insert_->BindInteger(destination_.number_field, number);
  insert_->ExecuteLater(*this);
  records_[count_++].Keep(values);
  if (write_index != nullptr) write_index->ExecuteLater(*this);
}

std::string LateRecords::NameOf(const RecordValues& values) const {
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

void LateRecords::DoLateWorkAgain() {
  const std::size_t count = std::exchange(count_, 0);
  group_.StoreAgain(static_cast<std::int64_t>(count), [&] {
    for (std::size_t i = 0; i < count; ++i) {
      RecordValues& values = records_[i].values();
      // Named before, as storing gives a record its number.
      const std::string name = NameOf(values);
      Trap(
          [&] { store_now_(values); },
          [&](const RuntimeError& error) { errors_.emplace_back(error.Number(), name + error.Description()); });
    }
  });
}

}  // namespace kestrel::host
