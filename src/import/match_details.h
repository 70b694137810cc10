// What is told of the address that a record is held to repeat, beyond what the host's index says.
//
// Invariants
//  1. An address that the run has stored is known by its number, with the first record that stored it; numbers
//     and records that ascend together share one entry, so that a usual run needs a few.
//  2. Nothing here is an error of the run: what cannot be told is left empty.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "import/run_outcomes.h"
#include "kestrel/duplicate_match.h"
#include "kestrel/object.h"

namespace kestrel {

class MatchDetails {
 public:
  // Looks once for the member DescribeAddress.
  void AskClass(const ObjectPtr& import_class);

  // The record handed over as the `ordinal`th has stored this address. What is no whole number is passed over.
  void NoteStored(std::string_view number, std::int32_t ordinal);

  // Of an address of the run's own type: which record stored it, unless that is known to be lost.
  void FindRecord(DuplicateMatch& match, const RunOutcomes& outcomes) const;
  // Name and place, where the import class tells them.
  void Describe(DuplicateMatch& match);

 private:
  struct Range {
    std::int32_t ordinal;  // of the first number
    std::int32_t count;
  };
  std::int32_t OrdinalOf(std::int64_t number) const;

  std::optional<BoundMember> describe_address_;
  std::map<std::int64_t, Range> stored_;  // by the first number
};

}  // namespace kestrel
