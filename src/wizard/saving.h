// Saving for good, as two pages do it.
#pragma once

#include <utility>

#include "component/session.h"
#include "kestrel/import_job.h"

namespace kestrel {

inline constexpr const char* kSavedText = "Die Einstellungen sind gespeichert.";

// Saves with ImportJob::SaveSchema, which asks for the name of a new specification; false where the person gave none.
// Raises what that raises.
inline bool SaveForGood(ImportJob& job) {
  Session& session = job.session();
  struct SavedOnce {
    Session& session;
    bool before;
    ~SavedOnce() { session.SchemaSaved = session.SchemaSaved || before; }
  };
  const SavedOnce once{session, std::exchange(session.SchemaSaved, false)};
  job.SaveSchema(true);
  return session.SchemaSaved;
}

}  // namespace kestrel
