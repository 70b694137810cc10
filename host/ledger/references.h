// Whether rows of other tables refer to a row of a destination's table, by the foreign keys of the database: who deletes the
// row would delete or change those, too (ON DELETE CASCADE, SET NULL), or be refused.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

class References {
 public:
  // `connection` outlives this object. Error 3000.
  References(Connection& connection, const Destination& destination);

  // A table, as a person knows it, that refers to the row with this number, which must not be the row itself; empty for
  // none. Where a table cannot be read, it counts as one that does. Error 3000.
  std::string To(std::int64_t number) const;

 private:
  struct Reference {
    std::string table;                // for a person
    std::unique_ptr<Statement> find;  // null where it cannot be read
  };
  std::vector<Reference> references_;
};

}  // namespace kestrel::host
