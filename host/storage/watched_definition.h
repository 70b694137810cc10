// Looks once in each group of an import whether its destination is still the one that was loaded, before anything is stored
// there. Until the group ends nobody changes it then, so a removal waits for what is stored, and nothing comes behind it.
#pragma once

#include <optional>
#include <string>

#include "schema/definition_watch.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

class WatchedDefinition {
 public:
  // All outlive this object. A trial leaves nothing, and is not watched.
  WatchedDefinition(Connection& connection, const Destination& destination, const GroupedWrites& group)
      : group_(group) {
    if (destination.trial_of.empty()) watch_.emplace(connection, destination);
  }

  // In a step that stores. Where it is another one, error 3000, and `stop_reason` says so, too.
  void Require(std::string& stop_reason) {
    looked_in_ = group_.Generation();
    if (!watch_ || (group_.IsOpen() && holds_in_ == looked_in_)) return;
    const std::string other = watch_->WhyOther();
    if (other.empty()) return;
    stop_reason = other;
    throw RuntimeError(ErrorNumber::kDatabase, other);
  }
  // Behind a step that was not undone: with its savepoint the database would forget that somebody has looked.
  void StepStands() { holds_in_ = looked_in_; }

 private:
  const GroupedWrites& group_;
  std::optional<DefinitionWatch> watch_;
  std::optional<std::uint64_t> looked_in_;
  std::optional<std::uint64_t> holds_in_;
};

}  // namespace kestrel::host
