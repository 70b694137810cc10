#include "storage/plain_trial.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "storage/trial_table.h"

namespace kestrel::host {

namespace {

// The constraints of an address table; columns of other types take anything on SQLite.
constexpr std::array<std::string_view, 2> kCounts = {"Mitarbeiter", "Zahlungsziel"};
constexpr std::string_view kMandatory = "Bez1";

// The range of numbers goes on behind so many that were left out or refused.
constexpr std::uint64_t kMostGap = 64;

}  // namespace

std::unique_ptr<PlainTrial> PlainTrial::For(Connection& connection, const Destination& destination) {
  if (!IsSqlite(connection)) return nullptr;
  const std::string made = AddressTableColumns(connection, destination.trial_of);
  if (made.empty() || made != TableColumns(connection, destination.trial_of)) return nullptr;
  std::unique_ptr<PlainTrial> trial(new PlainTrial(connection, destination));
  // A destination may leave out what its table wants.
  return trial->mandatory_.empty() ? nullptr : std::move(trial);
}

PlainTrial::PlainTrial(Connection& connection, const Destination& destination) {
  for (std::size_t i = 0; i < destination.fields.size(); ++i) {
    const std::string& column = destination.fields[i].column;
    for (const std::string_view count : kCounts) {
      if (EqualsIgnoringCase(column, count)) counts_.push_back(i);
    }
    if (EqualsIgnoringCase(column, kMandatory)) mandatory_.push_back(i);
  }
  const std::string from =
      destination.fields[destination.number_field].column + ") FROM " + destination.trial_of;
  const RecordsetPtr greatest = connection.OpenRecordset("SELECT max(" + from);
  if (!greatest->IsNull(0)) greatest_of_database_ = greatest->ValueAt(0).ToInteger();
  greatest_ = std::max<std::int64_t>(greatest_of_database_, 0);
  select_number_ = connection.Prepare("SELECT (" + from + " WHERE " +
                                      destination.fields[destination.number_field].column + " = ?");
}

bool PlainTrial::WouldTake(const RecordValues& values) const {
  const auto is_count = [&](std::size_t field) {
    const auto* number = std::get_if<std::int64_t>(&values[field]);
    return std::holds_alternative<std::monostate>(values[field]) || (number != nullptr && *number >= 0);
  };
  const auto is_given = [&](std::size_t field) {
    return !std::holds_alternative<std::monostate>(values[field]);
  };
  return std::ranges::all_of(counts_, is_count) && std::ranges::all_of(mandatory_, is_given);
}

bool PlainTrial::HasTaken(std::int64_t number) const {
  if (number >= range_begin_ && number < range_end_) return gaps_.empty() || !gaps_.contains(number);
  return !others_.empty() && others_.contains(number);
}

bool PlainTrial::Has(std::int64_t number) {
  if (HasTaken(number)) return true;
  if (number > greatest_of_database_) return false;
  select_number_->BindInteger(0, number);
  return !select_number_->Open()->IsEof();
}

std::int64_t PlainTrial::NextNumber() const {
  if (greatest_ == INT64_MAX) throw RuntimeError(ErrorNumber::kOverflow, "Es ist keine Nummer mehr frei.");
  return greatest_ + 1;
}

void PlainTrial::Take(std::int64_t number) {
  greatest_ = std::max(greatest_, number);
  if (range_begin_ == range_end_ && number != INT64_MAX) range_begin_ = range_end_ = number;
  const std::uint64_t gap = static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(range_end_);
  if (number < range_begin_ || number == INT64_MAX || (number >= range_end_ && gap > kMostGap)) {
    others_.insert(number);
  } else if (number < range_end_) {
    gaps_.erase(number);
  } else {
    while (range_end_ < number) SkipNumber();
    ++range_end_;
  }
}

// One that was taken before the range came so far is no gap.
void PlainTrial::SkipNumber() {
  if (others_.erase(range_end_) == 0) gaps_.insert(range_end_);
  ++range_end_;
}

}  // namespace kestrel::host
