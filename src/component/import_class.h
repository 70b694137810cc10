// Calls of the import class that are not part of the run; its contract is told in kestrel/import_class.h.
//
// Order at the start of step 2 (CreateImportClass): the previous object is released; a new one is created;
// Connection, PersonalNr, Application, SpecificationFile are assigned in this order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

// Creates and primes the import class named by session.ImportClassProgID; a new import begins here
// (import/active_import.h). On failure shows the message and returns false: with error 429
//   "Der angegebene Import Provider ''" + ProgID + "'' kann nicht geladen werden. Fehlercode 429."
// with the information icon and no title of its own, with any other error "Fehler: " + its description
// without icon. When creating itself failed, session.ImportClass is unset. `failure`, where given, receives
// the error with its full description (plug-in, symbol, folders), which the 429 message leaves out.
bool CreateImportClass(Session& session, std::optional<RuntimeError>* failure = nullptr);

// Whether the settings dialog is offered: false only when HasConfig answers a truth value that is false.
// A failing HasConfig is the caller's to trap.
KESTREL_INTERNAL bool ImportClassHasConfig(Session& session);

// Lets SpecificationFile to the working copy, then calls ShowConfig.
KESTREL_INTERNAL void ShowImportClassConfig(Session& session);

// What ErrorCode and ErrorDescription say. The description is read only for a code other than 0.
struct ImportClassError {
  std::int64_t code = 0;
  std::string description;
};
ImportClassError ReadImportClassError(Session& session);

}  // namespace kestrel
