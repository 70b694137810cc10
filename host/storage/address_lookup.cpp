#include "storage/address_lookup.h"

#include <charconv>

#include "storage/address_index.h"

namespace kestrel::host {

namespace {

std::optional<std::int64_t> ReadNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// Of a row that has the key parts in their order.
IndexedAddress AddressOf(const Recordset& row, bool joins_names) {
  return {row.TextAt(kPostcode),
          row.TextAt(kTown),
          row.TextAt(kStreet),
          {row.TextAt(kName1), row.TextAt(kName2), row.TextAt(kName3)},
          {},
          joins_names};
}

void SetKeyText(std::string& text, const Recordset& row, bool joins_names) {
  text.clear();
  AppendKeyText(text, AddressOf(row, joins_names));
}

}  // namespace

AddressLookup::Kind* AddressLookup::KindOf(std::int64_t address_type) {
  const auto [entry, is_new] = kinds_.try_emplace(address_type);
  std::optional<Kind>& kind = entry->second;
  if (is_new) {
    const auto query = connection_.Prepare("SELECT min(ProgID) FROM Importziele WHERE Adressart = ?");
    query->BindInteger(0, address_type);
    const RecordsetPtr found = query->Open();
    if (found->IsEof() || found->IsNull(0)) return nullptr;
    Destination loaded = LoadDestination(connection_, found->TextAt(0));
    TableQuery table(connection_, loaded.table);
    kind.emplace(Kind{std::move(loaded), std::move(table), nullptr, nullptr, {}});
    const Destination& destination = kind->destination;
    const std::string& number = destination.fields[destination.number_field].column;
    kind->query = "SELECT ";
    for (std::size_t part = 0; part < kKeyParts; ++part)
      kind->query += destination.KeyColumn(part, "''") + ", ";
    kind->query += number + " FROM " + destination.table + " WHERE " + number;
    kind->read = connection_.Prepare(kind->query + " = ?");
  }
  return kind ? &*kind : nullptr;
}

// Null where there is none.
RecordsetPtr AddressLookup::Find(std::int64_t address_type, std::string_view number) {
  Kind* const kind = KindOf(address_type);
  const std::optional<std::int64_t> whole = ReadNumber(number);
  if (kind == nullptr || !whole) return nullptr;
  kind->read->BindInteger(0, *whole);
  RecordsetPtr row = kind->table.Open([kind] { return kind->read->Open(); });
  return row->IsEof() ? nullptr : row;
}

AddressLookup::Summary AddressLookup::Describe(std::int64_t address_type, std::string_view number) {
  const RecordsetPtr row = Find(address_type, number);
  if (row == nullptr) return {};
  const IndexedAddress address = AddressOf(*row, false);
  Summary summary{
      KindOf(address_type)->destination.joins_names ? JoinedName(address) : std::string(address.names[0]),
      std::string(address.postcode)};
  const std::string_view town = address.town;
  if (!summary.place.empty() && !town.empty()) summary.place += " ";
  summary.place += town;
  return summary;
}

bool AddressLookup::ReadKeyText(std::int64_t address_type, std::string_view number, std::string& text) {
  const RecordsetPtr row = Find(address_type, number);
  if (row == nullptr) return false;
  SetKeyText(text, *row, KindOf(address_type)->destination.joins_names);
  return true;
}

void AddressLookup::ReadKeyTexts(
    std::int64_t address_type, const std::vector<std::string_view>& numbers,
    const std::function<void(std::int64_t number, std::string_view key_text)>& read) {
  Kind* const kind = KindOf(address_type);
  if (kind == nullptr) return;
  std::string array;
  for (const std::string_view number : numbers) {
    if (ReadNumber(number)) array.append(array.empty() ? "{" : ",").append(number);
  }
  if (array.empty()) return;
  if (kind->read_many == nullptr) kind->read_many = connection_.Prepare(kind->query + " = ANY (?)");
  kind->read_many->BindText(0, array += '}');
  std::string text;
  for (const RecordsetPtr rows = kind->read_many->Open(); !rows->IsEof(); rows->MoveNext()) {
    SetKeyText(text, *rows, kind->destination.joins_names);
    read(rows->ValueAt(kKeyParts).ToInteger(), text);
  }
}

const Destination* AddressLookup::DestinationOf(std::int64_t address_type) {
  Kind* const kind = KindOf(address_type);
  return kind == nullptr ? nullptr : &kind->destination;
}

}  // namespace kestrel::host
