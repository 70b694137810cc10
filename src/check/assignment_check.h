// What is wrong with the assignment of the source's columns to the destination's fields.
#pragma once

#include <optional>

#include "component/session.h"
#include "kestrel/finding.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

// What keeps step 3 on its page, with its texts: a mandatory field that is not assigned, else a date field
// without a format; none where nothing does.
std::optional<Finding> FindAssignmentFault(MemoryRecordset& list);

// The first field of the session's assignment list to which the specification assigns a column that exists but
// cannot be read: it would silently stay empty. The source connection is open.
std::optional<Finding> FindLeftOutAssignment(Session& session);

// The fields of the session's assignment list to which the specification assigns a column that the open source
// lacks: they stay as the import class delivers them.
void CheckAssignedColumns(Session& session, Findings& findings);

// The entries of section FieldAssignments against the destination's fields (the session's assignment list, just
// built) and, where the source is open, against its columns.
void CheckAssignments(Session& session, bool source_open, Findings& findings);

}  // namespace kestrel
