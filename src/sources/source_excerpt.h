// The first records of a source, read apart from the session: in another thread, by a connection of its own.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/recordset.h"
#include "sources/source_connection.h"

namespace kestrel {

// A value of a sample: its text, or why it cannot be read.
struct ExcerptValue {
  std::string text = {};
  std::optional<RuntimeError> unreadable = {};
};

struct SourceExcerpt {
  std::vector<std::string> columns;  // as the record set names them
  std::vector<std::vector<ExcerptValue>> records;
  std::string failure;  // why the source could not be opened, or broke off; else empty
};

// Of a longer value this many characters are kept.
inline constexpr std::size_t kExcerptCharacters = 10000;

// Touches no session, raises nothing and is called once, in whatever thread, perhaps still when the session has gone.
using ExcerptReading = std::function<SourceExcerpt()>;

// Opens the session's source as a run opens it with the settings of now, with a connection of its own. Called as an
// ExcerptReading, but raises what keeps the source from opening.
using RecordsOpening = std::function<RecordsetPtr()>;
KESTREL_INTERNAL RecordsOpening BeginRecords(const Session& session);

// Reads up to `most` records of the session's source, opened as a run opens it with the settings of now.
KESTREL_INTERNAL ExcerptReading BeginExcerpt(const Session& session, std::size_t most);
// The same of a source that is still being described, connected to with `inputs`. Of a text file the beginning alone is
// looked at, so line ends and character set are those of the beginning.
KESTREL_INTERNAL ExcerptReading BeginGlimpse(const Session& session, const SourceInputs& inputs,
                                             std::size_t most, const ConnectionOpener& open = OpenConnection);

// The sample as a record set at its first record, with the errors of its values. The sample outlives it.
KESTREL_INTERNAL RecordsetPtr RecordsOf(const SourceExcerpt& sample);

}  // namespace kestrel
