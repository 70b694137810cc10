// Finds stored addresses by what the address index calls them: type and number.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"
#include "schema/table_query.h"

namespace kestrel::host {

class AddressLookup {
 public:
  struct Summary {
    std::string name;   // Bez1, or all names where they are joined
    std::string place;  // PLZ and Ort
  };

  // `connection` outlives this object.
  explicit AddressLookup(Connection& connection) : connection_(connection) {}

  // Empty texts where there is no such address. Error 3000, and those of LoadDestination.
  Summary Describe(std::int64_t address_type, std::string_view number);
  // Sets `text` to the key text of an address; false where there is none. Errors as of Describe.
  bool ReadKeyText(std::int64_t address_type, std::string_view number, std::string& text);
  // Tells `read` the key texts of all that there are of these addresses, in any order. Of a PostgreSQL server; errors as of
  // Describe.
  void ReadKeyTexts(std::int64_t address_type, const std::vector<std::string_view>& numbers,
                    const std::function<void(std::int64_t number, std::string_view key_text)>& read);
  // The destination of a type of addresses, as the first ProgID that has it; null where none has.
  const Destination* DestinationOf(std::int64_t address_type);

 private:
  struct Kind {
    Destination destination;
    TableQuery table;
    std::unique_ptr<Statement> read;  // the key parts and the number
    std::unique_ptr<Statement> read_many;
    std::string query;  // of the two, up to the number that is asked for
  };
  Kind* KindOf(std::int64_t address_type);
  RecordsetPtr Find(std::int64_t address_type, std::string_view number);

  Connection& connection_;
  std::map<std::int64_t, std::optional<Kind>> kinds_;
};

}  // namespace kestrel::host
