// The database whose lists the window shows: the sample host's, or one of another application that has destinations.
#pragma once

#include <string>

#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "kestrel/user_interface.h"

namespace kestrel::host {

// The connection string of the database that `kestrel-import init FOLDER` made in the folder, or, where
// `connection_string` is not empty, that one. 53 with a way out where there is none.
std::string HostDatabase(const std::string& folder, const std::string& connection_string);

// Opens it. What HostDatabase raises, 53 for a file that is not there, 3000 where it has no address lists, with the way to
// some; errors of opening it.
ConnectionPtr OpenHostDatabase(const std::string& folder, const std::string& connection_string);

// Asks whether tables of an earlier version shall be brought to this one, where there are some, and does it; false where
// the answer was no. Raises what that raises.
bool UpgradeWhereWanted(UserInterface& ui, ComponentRegistry& components, const ConnectionPtr& connection);

// Makes the templates of the destinations that somebody has made of tables, where the folder lacks them: they may have been
// made on another machine. 76 where there are specifications beside a folder that is not there; errors of files.
void WriteTemplates(ComponentRegistry& components, const ConnectionPtr& connection, const std::string& folder);

}  // namespace kestrel::host
