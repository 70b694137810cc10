// Who tells of a host's database that cannot be worked with any more.
#pragma once

#include "component/session.h"

namespace kestrel {

// Whether the import class tells why the import stops (StopReason), as the host's connection is gone for good, or has told so
// already and the connection's last call failed for such a reason, too. What fails because of that is then not told as
// well: one box is enough.
bool IsToldAsStop(const Session& session);

}  // namespace kestrel
