// ksDoubLb.DoubletFunctions: duplicate keys (keys/duplicate_keys.h), and whether what they find is the same address
// (keys/address_comparison.h).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/bound_object.h"
#include "kestrel/connection.h"
#include "keys/address_comparison.h"
#include "keys/duplicate_keys.h"
#include "storage/address_lookup.h"

namespace kestrel::host {

class DoubletFunctions final : public BoundObject<DoubletFunctions> {
 public:
  explicit DoubletFunctions(std::shared_ptr<KeyMemory> keys) : keys_(std::move(keys)) {}
  static void Bind(Members& members);

 private:
  std::string BuildKey(std::string_view code, std::string_view key_text) {
    return std::string(keys_->Build(code, key_text));
  }
  // In per cent, see kestrel/host_components.h; 0 for an address that is not there. An object that is asked again
  // remembers what pairs at one address looked like. One query by the address's number, where the text was not read
  // ahead. Errors 91, 438 for what is no
  // connection, 3000, and those of LoadDestination.
  double Confirm(const ObjectPtr& connection, std::string_view key_text, std::int64_t address_type,
                 std::string_view reference, std::string& reason);
  bool ReadCandidate(Connection& connection, std::int64_t address_type, std::string_view reference);

  // In per cent: none of the addresses that have one of the keys gets a higher score from Confirm, as far as that is known
  // without asking the database, else 100; -1 where there is none. Errors 91 and 438.
  double HighestScore(const ObjectPtr& connection, std::string_view key_text, std::string_view key1,
                      std::string_view key2, std::string_view key3);

  // In per cent, of a record and how another was written that was held back; 0 where they share no name, as who lives
  // with somebody is told from errors by addresses of the host alone. Counts no pair. Raises nothing.
  double ConfirmSpelling(std::string_view key_text, std::string_view spelling, std::string& reason);

  std::shared_ptr<KeyMemory> keys_;
  ConnectionPtr connection_;  // that addresses_ reads
  std::optional<AddressLookup> addresses_;
  std::string counted_;  // the key text whose pairs are counted
  std::string candidate_text_;
  AddressParts candidate_;
  SameAddressPairs seen_;
};

}  // namespace kestrel::host
