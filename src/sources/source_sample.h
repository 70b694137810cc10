// The first records of a source as a page shows them while it is being described: read apart from the session, by a
// connection of their own, in whatever thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/memory_recordset.h"
#include "sources/source_connection.h"

namespace kestrel {

struct SourceSample {
  // Values longer than kSampleCharacters are cut behind them. Null where the source cannot be read.
  std::shared_ptr<MemoryRecordset> records;
  // Why it cannot, or why there are no more records.
  std::string reason;
};
inline constexpr std::size_t kSampleCharacters = 1024;

using SampleReading = std::function<SourceSample()>;

// How the first `most` records are read of the source that the session describes, connected to with `inputs`. What it
// returns touches no session, raises nothing and is called once. Null for an unknown kind.
KESTREL_INTERNAL SampleReading BeginSample(const Session& session, const SourceInputs& inputs, std::size_t most,
                                           const ConnectionOpener& open = OpenConnection);

}  // namespace kestrel
