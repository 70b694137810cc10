#include "storage/address_index.h"

#include <charconv>
#include <mutex>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

constexpr std::string_view kGroup = "Adressindex";
constexpr std::array<std::string_view, 3> kAlgorithms = {"AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"};
constexpr std::int64_t kTypesPerNumber = 64;
constexpr std::size_t kStartOfName = 15;
constexpr std::string_view kRow =
    "Adressindex (Doubletkey1, Doubletkey2, Doubletkey3, AdressId, Adressart, Referenz) "
    "VALUES (?, ?, ?, ?, ?, ?)";

void RequireIndexable(std::int64_t number) {
  if (number < 0 || number > INT64_MAX / kTypesPerNumber - 1) {
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        "Die Nummer " + std::to_string(number) + " ist für den Adressindex zu groß oder negativ.");
  }
}

}  // namespace

void AppendKeyText(std::string& text, const IndexedAddress& address) {
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
      new_rows_(connection, kTypesPerNumber) {
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

void AddressIndex::BuildKeys(std::int64_t number, const IndexedAddress& address) {
  RequireIndexable(number);
  key_text_.clear();
  AppendKeyText(key_text_, address);
  for (std::size_t i = 0; i < kAlgorithms.size(); ++i) {
    built_[i] = keys_->Build(settings_.Get(kGroup, kAlgorithms[i], "0"), key_text_);
  }
}

// The keys come first and the address's number fourth, in all statements.
void AddressIndex::BindKeys(Statement& statement, std::int64_t number, const IndexedAddress& address) {
  BuildKeys(number, address);
  for (std::size_t i = 0; i < built_.size(); ++i) {
    if (built_[i].empty()) {
      statement.BindNull(i);
    } else {
      statement.BindText(i, built_[i]);
    }
  }
  statement.BindInteger(3, number * kTypesPerNumber + address_type_);
}

void AddressIndex::BindRow(Statement& statement, std::int64_t number, const IndexedAddress& address) {
  BindKeys(statement, number, address);
  const char* const end = std::to_chars(reference_.data(), reference_.data() + reference_.size(), number).ptr;
  statement.BindInteger(4, address_type_);
  statement.BindText(5, std::string_view(reference_.data(), static_cast<std::size_t>(end - reference_.data())));
}

Statement& AddressIndex::PrepareNew(std::int64_t number, const IndexedAddress& address) {
  if (add_ == nullptr) add_ = connection_.Prepare("INSERT INTO " + std::string(kRow));
  BindRow(*add_, number, address);
  return *add_;
}

void AddressIndex::Add(std::int64_t number, const IndexedAddress& address) {
  if (!new_rows_.MayAdd()) return Write(number, address);
  BuildKeys(number, address);
  new_rows_.Add(number * kTypesPerNumber + address_type_, built_);
}

void AddressIndex::Write(std::int64_t number, const IndexedAddress& address) {
  if (add_absent_ == nullptr) {
    add_absent_ = connection_.Prepare(InsertAbsentText(connection_, kRow));
  }
  BindRow(*add_absent_, number, address);
  if (known_.Store(built_, [this] { return add_absent_->Execute(); }) != 0) return;
  if (update_ == nullptr) {
    update_ = connection_.Prepare(
        "UPDATE Adressindex SET Doubletkey1 = ?, Doubletkey2 = ?, Doubletkey3 = ? WHERE AdressId = ?");
  }
  BindKeys(*update_, number, address);
  known_.Store(built_, [this] { return update_->Execute(); });
}

void AddressIndex::Remove(std::int64_t number) {
  if (number < 0 || number > INT64_MAX / kTypesPerNumber - 1) return;
  if (remove_ == nullptr) remove_ = connection_.Prepare("DELETE FROM Adressindex WHERE AdressId = ?");
  remove_->BindInteger(0, number * kTypesPerNumber + address_type_);
  remove_->Execute();
}

}  // namespace kestrel::host
