// Who may do what in the host's database, where the database knows users: PostgreSQL.
//
//   kestrel_import   reads and writes the host's tables and those of a user's own destinations, and makes temporary ones
//                    for test runs
//   kestrel_read     reads them
//
// Both are groups without a login: GRANT kestrel_import TO erika.
#pragma once

#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

// Makes the schema in which the connection looks first (search_path), where it is missing. Error 3000.
void CreateSchema(Connection& connection);

enum class MissingRoles { kMake, kPassOver };

// Grants the two roles their rights. What the connecting user may not do is told, with the SQL by which
// an administrator does it; empty where nothing is left to do. Raises nothing.
std::string GrantRoles(Connection& connection, MissingRoles missing = MissingRoles::kMake);

}  // namespace kestrel::host
