#include "storage/row_look_up.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "schema/address_indexes.h"
#include "storage/known_keys.h"

namespace kestrel::host {

RowLookUp::RowLookUp(Connection& connection)
    : connection_(connection),
      absent_(connection.attachments().Of<AbsentValues>(connection)),
      has_sections_(HasAddressIndexSections(connection)) {}

std::span<const FoundAddress> RowLookUp::Read(std::vector<std::int64_t>& address_ids,
                                              std::span<const SoughtValue> values) {
  std::ranges::sort(address_ids);
  address_ids.erase(std::unique(address_ids.begin(), address_ids.end()), address_ids.end());
  rows_.clear();
  {
    // Rows that wait to be stored are stored if they have one of the values.
    const SoughtRows sought{"Adressindex", values};
    const AbsentValues::Query opened(absent_, sought);
    for (const std::int64_t address_id : address_ids) ReadOne(address_id, values);
  }
  return Answer();
}

std::string_view RowLookUp::TextOf(std::int64_t number, Digits& digits) {
  char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

std::span<const FoundAddress> RowLookUp::Tell(std::span<const LearnedRow> learned,
                                              std::span<const SoughtValue> values,
                                              const KnownAddresses::Hashes& hashes) {
  rows_.clear();
  for (const LearnedRow& known : learned) {
    const std::int64_t address_id = known.address_id;
    const KnownAddresses::Hashes& keys = known.keys;
    const auto has = [&](const SoughtValue& value) {
      const auto column = KnownKeys::ColumnOf(value.first);
      return column && KnownAddresses::IsSameKey(keys[*column], hashes[*column]);
    };
    const auto match = std::ranges::find_if(values, has);
    if (match == values.end()) continue;
    Row& row = rows_.emplace_back();
    row.place = PlaceOf(static_cast<std::size_t>(match - values.begin()), address_id);
    row.address_type = TypeOf(address_id);
    Digits digits;
    row.reference = TextOf(NumberOf(address_id), digits);
    // Another one than any that is looked for.
    for (std::size_t i = 0; i < row.keys.size(); ++i) row.keys[i] = keys[i] == 0 ? "" : "?";
    for (const SoughtValue& value : values) {
      if (has(value)) row.keys[*KnownKeys::ColumnOf(value.first)] = value.second;
    }
  }
  return Answer();
}

RowLookUp::Place RowLookUp::PlaceOf(std::size_t value, std::int64_t address_id) const {
  return {value, has_sections_ ? SectionOf(address_id) : 0, address_id};
}

std::span<const FoundAddress> RowLookUp::Answer() {
  std::ranges::sort(rows_, {}, &Row::place);
  answer_.clear();
  for (const Row& row : rows_) {
    answer_.push_back({row.address_type, row.reference, {row.keys[0], row.keys[1], row.keys[2]}});
  }
  return answer_;
}

void RowLookUp::ReadOne(std::int64_t address_id, std::span<const SoughtValue> values) {
  if (query_ == nullptr) {
    query_ = connection_.Prepare(
        "SELECT Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex WHERE AdressId = "
        "?");
  }
  query_->BindInteger(0, address_id);
  const RecordsetPtr found = query_->Open();
  // It may be gone, or have other keys by now.
  if (found->IsEof()) return;
  constexpr std::size_t kFirstKey = 2;
  const auto match = std::ranges::find_if(values, [&](const SoughtValue& value) {
    const auto column = KnownKeys::ColumnOf(value.first);
    return column && !found->IsNull(kFirstKey + *column) && found->TextAt(kFirstKey + *column) == value.second;
  });
  if (match == values.end()) return;
  Row& row = rows_.emplace_back();
  row.place = PlaceOf(static_cast<std::size_t>(match - values.begin()), address_id);
  row.address_type = found->ValueAt(0).ToInteger();
  row.reference = found->TextAt(1);
  for (std::size_t i = 0; i < row.keys.size(); ++i) row.keys[i] = found->TextAt(kFirstKey + i);
}

}  // namespace kestrel::host
