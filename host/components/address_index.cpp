#include "components/address_index.h"

#include <charconv>
#include <utility>

#include "platform/base/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

constexpr std::string_view kGroup = "Adressindex";
constexpr std::array<std::string_view, 3> kAlgorithms = {"AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"};
constexpr std::int64_t kTypesPerNumber = 64;
constexpr std::size_t kStartOfName = 15;

}  // namespace

void AppendKeyText(std::string& text, const IndexedAddress& address) {
  text.append(address.postcode).append("|").append(address.town).append("|").append(address.street).append("|");
  text.append(TrimBlanks(Left(address.names[0], kStartOfName))).append("|");
  for (const std::string_view name : address.names) text.append(name).append("|");
  text.append("|").append(address.group);
}

AddressIndex::AddressIndex(Connection& connection, int address_type, std::shared_ptr<KeyMemory> keys,
                           Existing existing)
    : connection_(connection),
      settings_(Settings::Of(connection)),
      address_type_(address_type),
      existing_(existing),
      keys_(std::move(keys)) {}

bool AddressIndex::IsKept() { return settings_.Get(kGroup, "Doubletindex", "0") == "1"; }

Statement& AddressIndex::Prepare(std::int64_t number, const IndexedAddress& address) {
  if (number < 0 || number > INT64_MAX / kTypesPerNumber - 1) {
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        "Die Nummer " + std::to_string(number) + " ist für den Adressindex zu groß oder negativ.");
  }
  if (write_ == nullptr) {
    std::string insert =
        "INSERT INTO Adressindex (AdressId, Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3) "
        "VALUES (?, ?, ?, ?, ?, ?)";
    if (existing_ == Existing::kReplace) {
      insert +=
          " ON CONFLICT (AdressId) DO UPDATE SET Doubletkey1 = excluded.Doubletkey1, "
          "Doubletkey2 = excluded.Doubletkey2, Doubletkey3 = excluded.Doubletkey3";
    }
    write_ = connection_.Prepare(insert);
  }
  key_text_.clear();
  AppendKeyText(key_text_, address);
  for (std::size_t i = 0; i < kAlgorithms.size(); ++i) {
    const std::string_view key = keys_->Build(settings_.Get(kGroup, kAlgorithms[i], "0"), key_text_);
    if (key.empty()) {
      write_->BindNull(3 + i);
    } else {
      write_->BindText(3 + i, key);
    }
  }
  const char* const end = std::to_chars(reference_.data(), reference_.data() + reference_.size(), number).ptr;
  write_->BindInteger(0, number * kTypesPerNumber + address_type_);
  write_->BindInteger(1, address_type_);
  write_->BindText(2, std::string_view(reference_.data(), static_cast<std::size_t>(end - reference_.data())));
  return *write_;
}

}  // namespace kestrel::host
