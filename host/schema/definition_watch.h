// Whether a user's own destination is still the one that was loaded: others may remove or change it beside an import.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

// All that the tables tell of a destination of a user's own, as one text; empty where it is not there. Error 3000.
class DefinitionReading {
 public:
  DefinitionReading(Connection& connection, std::string_view prog_id);
  std::string Read();

 private:
  std::unique_ptr<Statement> select_;
  std::string key_;
};

class DefinitionWatch {
 public:
  // Both outlive this object. Destinations that the host brings are those of its version, and are not watched.
  DefinitionWatch(Connection& connection, const Destination& destination);

  // In the transaction that is to be committed. What it answers holds until that one ends, as nobody changes a
  // destination meanwhile (KeepDefinitions). Empty where it is the one that was loaded, else a reason to stop. Error 3000.
  std::string WhyOther();
  // The same as error 3000.
  void RequireSame();

 private:
  const Destination& destination_;
  std::optional<DefinitionReading> reading_;
};

// In the open transaction, before destinations are removed or changed: waits for all that have looked at them, and keeps
// others from it. Error 3000.
void KeepDefinitions(Connection& connection);

}  // namespace kestrel::host
