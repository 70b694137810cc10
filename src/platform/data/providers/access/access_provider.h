// The provider of Access files: Provider=Microsoft.Jet.OLEDB.4.0;Data Source=FILE;Password=...;User ID=...
//
// The file is read whole and never changed. Password is the database's; it counts only for a file that has
// one (Jet OLEDB:Database Password goes before it). User ID means nothing here.
#pragma once

#include <string_view>

#include "kestrel/connection.h"
#include "platform/data/connection_string.h"

namespace kestrel::access {

bool Serves(const ConnectionKeys& keys);
// Raises 3000 with the reason; it never holds the password.
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::access
