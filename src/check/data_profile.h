// Reads a source once, as the run would, and tells what its data are like.
#pragma once

#include "component/session.h"
#include "kestrel/data_profile.h"

namespace kestrel {

class DuplicateCheck;

// Adds the figures of the session's source, whose connection is open, and what is found in it. `list`: the
// assignments, or null where they are unknown; only the source itself is looked at then. Raises nothing: a source
// that breaks off is a finding. What the reader shows on the way is shown by the session's user interface.
void ProfileData(Session& session, MemoryRecordset* list, DuplicateCheck& duplicates, DataProfile& profile);

}  // namespace kestrel
