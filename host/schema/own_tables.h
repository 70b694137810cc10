// Where the host's own tables stand. In the sample host's database they have their plain names. In the database of another
// application they have a prefix, "kestrel_", so that none of its tables is touched or hidden; its own are named in quotes
// in every statement (see TableNames).
#pragma once

#include <string>
#include <string_view>

#include "kestrel/connection.h"

namespace kestrel::host {

inline constexpr const char* kOwnPrefix = "kestrel_";
// Of the tables with the prefix, and in the sample host's database of those of a user's own destinations, as the table
// Importfassung tells it. Older ones are changed where a person wants it (upgrade.h); until then they are refused, as
// newer ones are.
inline constexpr int kOwnVersion = 2;

// Finds out, once a connection, which of the two it is. What has neither tables counts as the sample host's, until
// CreateOwnTables has made some. Error 3000; 5, with a way out, for tables of another version.
void FindOwnTables(Connection& connection);
// The same without a look at the version, which it returns; kOwnVersion where nothing here has one. Error 3000.
int VersionOfOwnTables(Connection& connection);
// The same of what a component is handed. Error 91 for none, 438 for an object that is no connection.
Connection& RequireHost(const ObjectPtr& object);

// The name that one of the host's own tables has in the database.
std::string OwnTable(Connection& connection, std::string_view name);
// Whether the host's own tables have the prefix here.
bool AreOwnTablesApart(Connection& connection);

// Makes the host's own tables, with the prefix where the database is not the sample host's. What is there stays. One
// transaction; error 3000.
void CreateOwnTables(Connection& connection);

}  // namespace kestrel::host
