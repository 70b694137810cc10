// What is done with whole specifications of the list: another name, a copy.
#pragma once

#include <string>

#include "component/session.h"
#include "kestrel/export.h"

namespace kestrel {

// Gives the specification another name (its Description); the file keeps its own, by which programs and the ledger of
// a host know it. Raises 5 for a blank name, 58 for one that another specification of the list has, and what
// ProfileStore::Write raises.
KESTREL_INTERNAL void RenameSpecification(Session& session, const std::string& path, const std::string& name);

// Makes a copy with this name in the folder, with everything that the file holds; its path. Raises as above, 52 for a
// name that no file can have, and what writing raises.
KESTREL_INTERNAL std::string DuplicateSpecification(Session& session, const std::string& path,
                                                    const std::string& name);

}  // namespace kestrel
