// The host's index of all addresses by duplicate keys (table Adressindex), as its importers write it.
//
// One row an address. Its key AdressId is 64 times the address's number plus the address type, which is one
// bit below 64: unique, ascending with the numbers, and found without an index of its own. A key that an
// address does not have is stored as null, so that nothing equals it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "components/duplicate_keys.h"
#include "platform/data/connection.h"
#include "schema/settings.h"

namespace kestrel::host {

// What the keys of an address are made of. Views of the caller's.
struct IndexedAddress {
  std::string_view postcode;
  std::string_view town;
  std::string_view street;
  std::array<std::string_view, 3> names;
  std::string_view group;
};

// Appends the key text of an address: PLZ|Ort|Strasse|first 15 characters of Bez1,
// trimmed|Bez1|Bez2|Bez3||group
void AppendKeyText(std::string& text, const IndexedAddress& address);

class AddressIndex {
 public:
  // What becomes of a row that the address has already. To refuse it is cheaper for servers.
  enum class Existing { kReplace, kRefuse };

  // `connection` outlives this object. `address_type`: one bit, 1 to 32.
  AddressIndex(Connection& connection, int address_type, std::shared_ptr<KeyMemory> keys,
               Existing existing = Existing::kReplace);

  // Whether the host keeps the index: setting "Doubletindex" of "Adressindex".
  bool IsKept();
  // Adds the row of an address, or replaces it, by one statement. Prepare raises error 5 for a number that is
  // negative or too large for AdressId or an unknown algorithm, and 3000 from the database; what it returns is
  // then to be executed.
  Statement& Prepare(std::int64_t number, const IndexedAddress& address);
  void Write(std::int64_t number, const IndexedAddress& address) { Prepare(number, address).Execute(); }

 private:
  Connection& connection_;
  Settings& settings_;
  int address_type_;
  Existing existing_;
  std::shared_ptr<KeyMemory> keys_;
  std::unique_ptr<Statement> write_;
  std::string key_text_;
  std::array<char, 24> reference_{};
};

}  // namespace kestrel::host
