// What keeps the destination from taking records, and components that the run would miss.
#pragma once

#include "component/session.h"
#include "kestrel/finding.h"
#include "platform/profile/profile.h"

namespace kestrel {

// Asks the import class of the session, where it can say what is missing (CheckDestination). Stores nothing.
void CheckHostRights(const Session& session, Findings& findings);

// Makes one object of each component beside the import class that the run needs: the log, and with the
// duplicate check the host's settings and keys.
void CheckComponents(const Session& session, const ProfileImage& specification, Findings& findings);

}  // namespace kestrel
