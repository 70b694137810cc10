// The indexes that duplicates are looked up by stand in the database at every moment, for everybody.
#pragma once

#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

// For whoever opens the host's database: makes the indexes of table Adressindex where they are missing, as
// earlier versions could leave an SQLite file that they were killed over. Takes seconds for a million
// addresses. A sentence that tells of it, empty where nothing was missing. Error 3000.
std::string RestoreAddressIndexes(Connection& connection);

// Before an import: makes indexes of an earlier version anew (schema/address_indexes.h) and writes statistics that they lack.
// Whoever only looks into the database need not wait for that. Where it cannot be done the import is slower, and nothing
// else; raises nothing.
void TuneAddressIndexes(Connection& connection);

// Likewise: where the settings name the algorithms of earlier versions ("1" to "3", "5"), builds the keys of all addresses that
// stand in the index by those of today and names these ("4", "6", "7"), in one transaction. Takes about a minute for a
// million addresses, which the connection's watch is told of and may end: nothing has changed then. A sentence that tells of it, empty where nothing was to be done. Error 3000.
std::string RenewAddressKeys(Connection& connection);

// In the open transaction, before the addresses are read whose keys are to be stored without an import: until its end nobody
// else stores any, and an import that knows what the index holds finds out that it has to look again. Waits for the groups
// of imports. Error 3000.
void KeepImportsOut(Connection& connection);

}  // namespace kestrel::host
