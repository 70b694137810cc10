// What is wrong with the data source of an import.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "component/session.h"
#include "kestrel/connection.h"
#include "kestrel/export.h"
#include "kestrel/finding.h"
#include "kestrel/source_end.h"

namespace kestrel {

// That the file of the session, of a kind that is read without a connection, has nothing in it, or blank lines only, which is why columns and records are
// missing; an error where it should have a header. None for other kinds of sources. A whole file is read only where
// it is blank.
KESTREL_INTERNAL std::optional<Finding> FindEmptyFile(const Session& session);

// A value that cannot be read, of the source's record counted from 1.
Finding UnreadableValue(const Session& session, const Recordset& source, std::int64_t record,
                        std::size_t column, const RuntimeError& error);

// Columns of the source that cannot be read. The source connection is open.
void CheckLeftOutColumns(const std::vector<SourceRemark>& remarks, Findings& findings);

// Reads a source whose connection is open: a file to its end, which tells whether records are missing; of a
// server the first record is enough. The values of the first 100 records are looked at, too. What the reader
// shows on the way is shown by the session's user interface.
void CheckSourceRecords(Session& session, Findings& findings);

// How reading ended, where that was not at the source's end: `records` were read of the `count` that it tells.
void TellSourceEnd(const Session& session, const SourceEnd& end, std::int64_t records, std::int64_t count,
                   Findings& findings);

}  // namespace kestrel
