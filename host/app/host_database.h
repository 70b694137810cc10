// The sample host's database, for its window.
#pragma once

#include <string>

#include "kestrel/connection.h"

namespace kestrel::host {

// The connection string of the database that `kestrel-import init FOLDER` made in the folder, or, where
// `connection_string` is not empty, that one. 53 with a way out where there is none.
std::string HostDatabase(const std::string& folder, const std::string& connection_string);

// Opens it. What HostDatabase raises, 3000 where it has no addresses; errors of opening it.
ConnectionPtr OpenHostDatabase(const std::string& folder, const std::string& connection_string);

}  // namespace kestrel::host
