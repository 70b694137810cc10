// The distinct values of a source column, read apart from the session: in another thread, by a connection of its own.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/runtime_error.h"
#include "mapping/translation.h"

namespace kestrel {

struct ValuesApart {
  DistinctValues distinct;
  std::optional<RuntimeError> failure;  // why there are not all of them
};

// What it returns touches no session, raises nothing and is called once, in whatever thread, perhaps still when the session
// has gone. `go_on` is asked there, as CollectDistinctValues asks it.
KESTREL_INTERNAL std::function<ValuesApart()> DistinctValuesApart(const Session& session, std::string column,
                                                                  std::function<bool()> go_on);

}  // namespace kestrel
