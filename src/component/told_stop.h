// Who tells of a connection to the host's database that is gone for good.
#pragma once

#include "component/session.h"

namespace kestrel {

// Whether the import class tells why the import stops (StopReason), as the host's connection is gone for good. What fails
// because of that is then not told as well: one box is enough.
bool IsToldAsStop(const Session& session);

}  // namespace kestrel
