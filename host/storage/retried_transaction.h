// A transaction that is done again where a server loses it in passing (platform/data/recovery.h).
#pragma once

#include <utility>

#include "kestrel/transaction.h"
#include "platform/data/recovery.h"

namespace kestrel::host {

// As InTransaction; `step` is run up to five times. Where the answer to a commit is missing, what an earlier attempt did
// may stand: `step` sees it, and deals with it.
template <class Step>
void InRetriedTransaction(Connection& connection, Step&& step) {
  constexpr int kMostAttempts = 5;
  const auto* const recovery = dynamic_cast<const Recovery*>(&connection);
  // A transaction of the caller's is lost with the step.
  const bool may_retry = recovery != nullptr && !connection.InTransaction();
  for (int attempts = 1; !Trap([&] { InTransaction(connection, step); },
                               [&](const RuntimeError&) {
                                 if (!may_retry || attempts == kMostAttempts ||
                                     recovery->LastLoss() == Recovery::Loss::kLasting) {
                                   throw;
                                 }
                               });) {
    ++attempts;
  }
}

}  // namespace kestrel::host
