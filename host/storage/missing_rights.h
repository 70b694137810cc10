// What an import into a destination would be refused, found without storing anything.
#pragma once

#include <string>

#include "schema/destination.h"

namespace kestrel::host {

// German sentences, one a line; empty where nothing is missing. Each kind of statement that the import needs
// (updates where it may `overwrite`) is tried on no row, in a transaction that is rolled back; nothing is tried
// within a transaction of the caller's, which a refusal could end. Commits what GroupedWrites has open. Raises
// nothing.
std::string MissingRights(Connection& connection, const Destination& destination, bool overwrite);

// Why a server's database takes no changes from anybody, with a way out, in sentences; empty where it does, and where it
// cannot be asked. Raises nothing.
std::string WhyReadOnly(Connection& connection);

// The rights that an import needs and the user lacks, as "INSERT an 'Protokoll', UPDATE an 'Kunden'"; empty where none is
// missing, where the database knows no users, and where it cannot be asked. One query, which tries nothing: what else
// an import may be refused for is left to it. Raises nothing.
std::string MissingGrants(Connection& connection, const Destination& destination, bool overwrite,
                          bool has_ledger);

}  // namespace kestrel::host
