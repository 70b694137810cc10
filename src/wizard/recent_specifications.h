// The specifications that were used last, for the list of step 1.
#pragma once

#include <QString>
#include <vector>

#include "kestrel/wizard_host.h"
#include "spec/specification.h"

namespace kestrel {

inline constexpr std::size_t kRecentSpecifications = 5;

// Moves the entries with the latest of these runs to the front, the latest first, and returns a line for each of them:
// when, from where, and what became of the records. The others keep their order. Runs of other files do not count.
std::vector<QString> PutRecentFirst(std::vector<SpecificationEntry>& entries,
                                    const std::vector<SpecificationRun>& runs);

}  // namespace kestrel
