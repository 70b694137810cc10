// Takes an import back before a person's eyes.
#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>

#include "kestrel/connection.h"

namespace kestrel::host {

struct UndoOutcome {
  std::int64_t removed = 0;
  std::int64_t restored = 0;
  // What was left alone, see the component kestrelhost.RunLedger; null where it cannot say any more.
  RecordsetPtr left_alone;
  bool is_complete = false;  // neither stopped by the person nor failed
  std::optional<RuntimeError> failure;
};

// Undoes the run by the component kestrelhost.RunLedger, whose database is `connection`'s. A dialog shows how far it
// is and can stop it, above `window`; meanwhile the windows repaint and cannot be used. Raises what
// keeps it from beginning; where it fails later, what was taken back until then stays so.
UndoOutcome UndoInDialog(const ObjectPtr& ledger, Connection& connection, std::int64_t run, bool takes_changes,
                         QWidget* window);

}  // namespace kestrel::host
