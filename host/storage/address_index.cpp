#include "storage/address_index.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

constexpr std::string_view kGroup = "Adressindex";
constexpr std::array<std::string_view, 3> kAlgorithms = {"AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"};
constexpr std::int64_t kTypesPerNumber = KeysAhead::kTypesPerNumber;
constexpr std::size_t kStartOfName = 15;
constexpr const char* kTable =
    "Adressindex (Doubletkey1, Doubletkey2, Doubletkey3, AdressId, Adressart, Referenz)";

bool IsIndexable(std::int64_t number) { return number >= 0 && number < INT64_MAX / kTypesPerNumber; }

void RequireIndexable(std::int64_t number) {
  if (!IsIndexable(number)) {
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        "Die Nummer " + std::to_string(number) + " ist für den Adressindex zu groß oder negativ.");
  }
}

}  // namespace

std::string JoinedName(const IndexedAddress& address) {
  std::string name;
  for (const std::string_view part : address.names) {
    const std::string_view trimmed = TrimBlanks(part);
    if (!trimmed.empty()) name.append(name.empty() ? "" : " ").append(trimmed);
  }
  return name;
}

void AppendKeyText(std::string& text, const IndexedAddress& address) {
  if (address.joins_names) {
    const std::string name = JoinedName(address);
    IndexedAddress joined = address;
    joined.names = {name, {}, {}};
    joined.joins_names = false;
    return AppendKeyText(text, joined);
  }
  text.append(address.postcode).append("|").append(address.town).append("|").append(address.street).append("|");
  text.append(TrimBlanks(Left(address.names[0], kStartOfName))).append("|");
  for (const std::string_view name : address.names) text.append(name).append("|");
  text.append("|").append(address.group);
}

AddressIndex::AddressIndex(Connection& connection, int address_type, std::shared_ptr<KeyMemory> keys)
    : connection_(connection),
      settings_(Settings::Of(connection)),
      address_type_(address_type),
      keys_(std::move(keys)),
      known_(KnownKeys::Of(connection)),
      new_rows_(connection, kTypesPerNumber),
      add_(connection, kTable, kColumns, RowInserts::Existing::kFails),
      add_absent_(connection, kTable, kColumns, RowInserts::Existing::kStays) {
  const std::lock_guard lock(connection_.CallMutex());
  known_.Begin();
}

AddressIndex::~AddressIndex() {
  const std::lock_guard lock(connection_.CallMutex());
  // What is kept with a connection ends with it.
  if (connection_.IsOpen()) known_.Release();
}

bool AddressIndex::IsKept() {
  if (const std::uint64_t generation = settings_.Generation(); generation != asked_in_) {
    is_kept_ = settings_.Get(kGroup, "Doubletindex", "0") == "1";
    asked_in_ = generation;
  }
  return is_kept_;
}

void AddressIndex::RequireFit(std::int64_t number) {
  RequireIndexable(number);
  const std::uint64_t generation = settings_.Generation();
  if (fits_in_ == generation) return;
  for (const std::string_view algorithm : kAlgorithms) {
    CanonicalText(settings_.Get(kGroup, algorithm, "0"), nobody_);
  }
  fits_in_ = generation;
}

const std::array<std::string, 3>& AddressIndex::Codes() {
  if (const std::uint64_t generation = settings_.Generation(); generation != codes_in_) {
    for (std::size_t i = 0; i < codes_.size(); ++i) codes_[i] = settings_.Get(kGroup, kAlgorithms[i], "0");
    codes_in_ = generation;
  }
  return codes_;
}

void AddressIndex::BuildKeys(std::int64_t number, const IndexedAddress& address) {
  RequireIndexable(number);
  key_text_.clear();
  AppendKeyText(key_text_, address);
  const auto& codes = Codes();
  for (std::size_t i = 0; i < codes.size(); ++i) built_[i] = keys_->Build(codes[i], key_text_);
  hashes_ = KnownKeys::HashesOf(built_);
}

// The keys come first and the address's number fourth, in all statements.
void AddressIndex::BindKeys(Statement& statement, std::size_t first, std::int64_t number,
                            const KnownKeys::Keys& keys) const {
  for (const std::string_view key : keys) {
    if (key.empty()) {
      statement.BindNull(first++);
    } else {
      statement.BindText(first++, key);
    }
  }
  statement.BindInteger(first, number * kTypesPerNumber + address_type_);
}

void AddressIndex::BindNew(Statement& insert, std::size_t place, const IndexRow& row) const {
  const std::size_t first = place * kColumns;
  BindKeys(insert, first, row.number, {row.keys[0], row.keys[1], row.keys[2]});
  insert.BindInteger(first + 4, address_type_);
  insert.BindText(first + 5, row.reference);
}

std::string AddressIndex::CopyTarget() { return kTable; }

void AddressIndex::AppendNew(CopiedRows& rows, const IndexRow& row) const {
  for (const std::string& key : row.keys) {
    if (key.empty()) {
      rows.AddNull();
    } else {
      rows.AddText(key);
    }
  }
  rows.AddInteger(row.number * kTypesPerNumber + address_type_);
  rows.AddInteger(address_type_);
  rows.AddText(row.reference);
  rows.EndRow();
}

void AddressIndex::MakeRow(std::int64_t number, const IndexedAddress& address, IndexRow& row) {
  BuildKeys(number, address);
  known_.Remember(hashes_, keys_->PartsOf(key_text_), number * kTypesPerNumber + address_type_);
  known_.Announce(built_, hashes_);
  std::ranges::copy(built_, row.keys.begin());
  row.number = number;
  row.reference = std::to_string(number);
}

void AddressIndex::Add(std::int64_t number, const IndexedAddress& address) {
  // A server is sent rows together by another way, which is told which of them fails.
  if (connection_.pipeline() != nullptr || !new_rows_.MayAdd()) return Write(number, address);
  BuildKeys(number, address);
  known_.Remember(hashes_, keys_->PartsOf(key_text_), number * kTypesPerNumber + address_type_);
  new_rows_.Add(number * kTypesPerNumber + address_type_, built_, hashes_);
}

void AddressIndex::Write(std::int64_t number, const IndexedAddress& address) {
  MakeRow(number, address, row_);
  Statement& add = add_absent_.Of(1);
  BindNew(add, 0, row_);
  if (known_.StoreAnnounced([&add] { return add.Execute(); }) != 0) return;
  if (update_ == nullptr) {
    update_ = connection_.Prepare(
        "UPDATE Adressindex SET Doubletkey1 = ?, Doubletkey2 = ?, Doubletkey3 = ? WHERE AdressId = ?");
  }
  known_.Change(number * kTypesPerNumber + address_type_);
  const KnownKeys::Keys keys = {row_.keys[0], row_.keys[1], row_.keys[2]};
  BindKeys(*update_, 0, number, keys);
  known_.Store(keys, [this] { return update_->Execute(); });
}

void AddressIndex::NoteChange(std::int64_t number) {
  if (IsIndexable(number)) known_.Change(number * kTypesPerNumber + address_type_);
}

void AddressIndex::Remove(std::int64_t number) {
  if (!IsIndexable(number)) return;
  if (remove_ == nullptr) remove_ = connection_.Prepare("DELETE FROM Adressindex WHERE AdressId = ?");
  const std::int64_t address_id = number * kTypesPerNumber + address_type_;
  known_.Change(address_id);
  remove_->BindInteger(0, address_id);
  remove_->Execute();
}

}  // namespace kestrel::host
