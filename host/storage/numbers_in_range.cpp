#include "storage/numbers_in_range.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "kestrel/runtime_error.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

namespace {

class InRange final : public FreeNumbers {
 public:
  InRange(Connection& connection, const Destination& destination, NumberRange range)
      : connection_(connection),
        group_(GroupedWrites::Of(connection)),
        destination_(destination),
        range_(range),
        next_(range.from) {}

  std::int64_t Next() override {
    if (known_in_ != group_.Generation()) Look();
    if (next_ > range_.to || is_used_up_) RefuseUsedUp();
    return next_;
  }
  void Take(std::int64_t number) override {
    if (number < next_ || number > range_.to) return;
    is_used_up_ = number == range_.to;
    if (!is_used_up_) next_ = number + 1;
  }
  // Somebody else has stored within the range.
  void PassOver(std::int64_t number) override {
    Look();
    Take(number);
  }
  void Undo(std::int64_t number) override {
    if (number < range_.from || number > range_.to) return;
    next_ = std::min(next_, number);
    is_used_up_ = false;
  }

 private:
  void Look() {
    is_used_up_ = false;
    next_ = range_.from;
    for (const std::string* table : {&destination_.table, &destination_.trial_of}) {
      if (!table->empty()) Take(GreatestIn(*table));
    }
    known_in_ = group_.Generation();
  }

  std::int64_t GreatestIn(const std::string& table) {
    const std::string& column = destination_.fields[destination_.number_field].column;
    const RecordsetPtr found = connection_.OpenRecordset(
        "SELECT max(" + column + ") FROM " + table + " WHERE " + column + " BETWEEN " +
        std::to_string(range_.from) + " AND " + std::to_string(range_.to));
    return found->IsNull(0) ? range_.from - 1 : found->ValueAt(0).ToInteger();
  }

  [[noreturn]] void RefuseUsedUp() const {
    throw RuntimeError(ErrorNumber::kOverflow, "Der Nummernkreis " + std::to_string(range_.from) + " bis " +
                                                   std::to_string(range_.to) + " für '" +
                                                   ShownTable(destination_) +
                                                   "' ist aufgebraucht. Geben Sie in den Einstellungen des "
                                                   "Imports einen größeren oder einen anderen an.");
  }

  Connection& connection_;
  GroupedWrites& group_;
  const Destination& destination_;
  const NumberRange range_;
  std::int64_t next_;
  bool is_used_up_ = false;                // its last number is taken
  std::optional<std::uint64_t> known_in_;  // the group in which the table was looked at
};

}  // namespace

std::unique_ptr<FreeNumbers> NumbersInRange(Connection& connection, const Destination& destination,
                                            NumberRange range) {
  return std::make_unique<InRange>(connection, destination, range);
}

}  // namespace kestrel::host
