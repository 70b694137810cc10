#include "sources/source_count.h"

#include <memory>

#include "sources/apart_session.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"

namespace kestrel {

namespace {

// What fails while records are counted fails again in the import, and is told there.
std::optional<std::int64_t> Count(Session& session) {
  std::optional<std::int64_t> count;
  Trap(
      [&] {
        if (!ConnectFromSession(session).connected) return;
        SourceReader reader(session);
        reader.OpenSourceRecordset();
        if (!reader.end().error) count = reader.SourceRecordCount();
        reader.CloseSource();
      },
      [](const RuntimeError&) {});
  return count;
}

}  // namespace

SourceCounting CountingOf(const Session& session) {
  return [apart = std::make_shared<ApartSession>(session)] { return Count(apart->session()); };
}

}  // namespace kestrel
