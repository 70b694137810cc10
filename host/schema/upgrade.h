// Brings the tables of a user's own destinations, which an earlier version of the program has made, to this one's version.
//
// Invariants
//  1. All steps are one transaction: where one fails, every table is as it was.
//  2. There is a copy of what is changed, as it was when the transaction began, before anything is: beside the file of an
//     SQLite database a copy of it, on a server a schema with copies of the tables.
//  3. Nobody comes here unasked: a person has said yes, or called the command.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

struct UpgradeStep {
  int version;  // that it leads to, from the one before
  void (*run)(Connection& connection);
};

// Those that there are, in order; the last one leads to kOwnVersion.
std::span<const UpgradeStep> UpgradeSteps();

enum class Backup {
  kMake,
  kIsThere,  // somebody else has made one
};

struct Upgrade {
  int from = 0;
  int to = 0;          // the same where there was nothing to do
  std::string backup;  // the path of the file or the name of the schema; empty where none was made
};

// Error 5, with a way out, for tables of a later version and where no copy can be made; 3000, which tells where the copy is.
Upgrade UpgradeOwnTables(Connection& connection, Backup backup,
                         std::span<const UpgradeStep> steps = UpgradeSteps());

}  // namespace kestrel::host
