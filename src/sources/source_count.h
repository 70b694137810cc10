// How many records a source has, found out apart from the import that is being prepared.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "component/session.h"
#include "kestrel/export.h"

namespace kestrel {

using SourceCounting = std::function<std::optional<std::int64_t>()>;

// A call that opens the session's source anew, over a connection of its own, and counts its records; none where they
// cannot be counted. It keeps copies of the session's settings, touches no session, shows nothing, raises nothing and
// may be called in whatever thread, also when session and kinds of sources have gone.
KESTREL_INTERNAL SourceCounting CountingOf(const Session& session);

}  // namespace kestrel
