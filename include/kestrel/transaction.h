// A transaction around a step, for whoever stores several rows at once. Used by the
// connection's thread.
#pragma once

#include <utility>

#include "kestrel/connection.h"

namespace kestrel {

// Runs `step` in a transaction of its own, or in the caller's where one is open. What it raises passes on, its
// changes undone where the transaction is its own. Error 3000 where it cannot be committed.
template <class Step>
void InTransaction(Connection& connection, Step&& step) {
  if (connection.InTransaction()) {
    std::forward<Step>(step)();
    return;
  }
  connection.Begin();
  Trap(
      [&] {
        std::forward<Step>(step)();
        connection.Commit();
      },
      [&](const RuntimeError&) {
        if (connection.InTransaction()) Trap([&] { connection.Rollback(); }, [](const RuntimeError&) {});
        throw;
      });
}

}  // namespace kestrel
