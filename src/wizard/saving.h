// Saving for good, as two pages do it.
#pragma once

#include <QAction>
#include <utility>

#include "component/session.h"
#include "kestrel/import_job.h"
#include "kestrel/wizard_comforts.h"
#include "spec/specification.h"
#include "wizard/button_row.h"

namespace kestrel {

inline constexpr const char* kSavedText = "Die Einstellungen sind gespeichert.";

// Saves with ImportJob::SaveSchema, which asks for the name of a new specification; false where the person gave none.
// With the comfort the job goes on with the new one. Raises what that raises.
inline bool SaveForGood(ImportJob& job, const WizardComforts& comforts) {
  Session& session = job.session();
  if (comforts.goes_on_with_saved && IsTemplate(session)) return job.SaveSchemaAs();
  struct SavedOnce {
    Session& session;
    bool before;
    ~SavedOnce() { session.SchemaSaved = session.SchemaSaved || before; }
  };
  const SavedOnce once{session, std::exchange(session.SchemaSaved, false)};
  job.SaveSchema(true);
  return session.SchemaSaved;
}

// "Speichern unter..." in a menu beside "Speichern"; null where it is not wanted.
inline QAction* AddSaveAs(ButtonRow& buttons, const WizardComforts& comforts) {
  if (!comforts.save_as) return nullptr;
  return buttons.AddMenuEntry("cmdSaveMenu", "Weitere Arten zu speichern", "mnuSaveAs", "Speichern unter...",
                              QKeySequence("Ctrl+Shift+S"));
}

}  // namespace kestrel
