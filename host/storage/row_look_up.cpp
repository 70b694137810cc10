#include "storage/row_look_up.h"

#include <algorithm>
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
  row.place = {static_cast<std::size_t>(match - values.begin()), has_sections_ ? SectionOf(address_id) : 0,
               address_id};
  row.address_type = found->ValueAt(0).ToInteger();
  row.reference = found->TextAt(1);
  for (std::size_t i = 0; i < row.keys.size(); ++i) row.keys[i] = found->TextAt(kFirstKey + i);
}

}  // namespace kestrel::host
