// Whether new rows stand under their numbers, for tables whose triggers or rules may drop a row without an error, give it
// another number, or put it elsewhere.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

class InsertCheck {
 public:
  // Null where no trigger and no rule comes before an insert. `connection` and `destination` outlive this object. Error
  // 3000.
  static std::unique_ptr<InsertCheck> For(Connection& connection, const Destination& destination);

  bool Has(std::int64_t number);
  // Error 3000 where there is no row with the number that was just inserted.
  void Require(std::int64_t number);
  // Fails, whatever the reason given, where of so many numbers, its parameters, one is missing.
  Statement& Of(std::size_t rows);

 private:
  InsertCheck(Connection& connection, const Destination& destination);

  Connection& connection_;
  const Destination& destination_;
  std::unique_ptr<Statement> find_;
  std::vector<std::unique_ptr<Statement>> statements_;  // by the numbers they take
};

// Whether it may be no other row's number that kept a new row out: on a server the check knows that of the host's tables.
bool MayBeDropped(const Connection& connection, const Destination& destination);
// Where the database says neither that it has stored a row nor why not. Error 3000.
[[noreturn]] void RefuseDropped(const Destination& destination);
// The same of a change of the row with this number.
[[noreturn]] void RefuseUnchanged(const Destination& destination, std::int64_t number);

}  // namespace kestrel::host
