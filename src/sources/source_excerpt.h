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

// Reads up to `most` records of the session's source as its settings are now. What it returns touches no session,
// raises nothing and is called once, in whatever thread, perhaps still when the session has gone.
KESTREL_INTERNAL std::function<SourceExcerpt()> BeginExcerpt(const Session& session, std::size_t most);

// The sample as a record set at its first record, with the errors of its values. The sample outlives it.
KESTREL_INTERNAL RecordsetPtr RecordsOf(const SourceExcerpt& sample);

}  // namespace kestrel
