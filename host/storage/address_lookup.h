// Finds stored addresses by what the address index calls them: type and number.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

class AddressLookup {
 public:
  struct Summary {
    std::string name;   // Bez1
    std::string place;  // PLZ and Ort
  };

  // `connection` outlives this object.
  explicit AddressLookup(Connection& connection) : connection_(connection) {}

  // Empty texts where there is no such address. Error 3000, and those of LoadDestination.
  Summary Describe(std::int64_t address_type, std::string_view number);
  // The destination of a type of addresses, as the first ProgID that has it; null where none has.
  const Destination* DestinationOf(std::int64_t address_type);

 private:
  struct Kind {
    Destination destination;
    std::unique_ptr<Statement> describe;
  };
  Kind* KindOf(std::int64_t address_type);

  Connection& connection_;
  std::map<std::int64_t, std::optional<Kind>> kinds_;
};

}  // namespace kestrel::host
