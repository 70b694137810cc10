#include "app/undo_dialog.h"

#include <QProgressDialog>

#include "app/shown_wait.h"
#include "kestrel/runtime_error.h"
#include "wizard/german_number.h"
#include "wizard/page_parts.h"

namespace kestrel::host {

UndoOutcome UndoInDialog(const ObjectPtr& ledger, Connection& connection, std::int64_t run, bool takes_changes,
                         QWidget* window) {
  const ShownWait waits(connection, window);
  {
    const WaitCursor pointer;
    CallMethod(ledger, "StartUndo", run, false, takes_changes);
  }
  const auto number = [&](const char* member) { return GetProperty(ledger, member).ToInteger(); };
  // A dialog counts in ints.
  constexpr int kParts = 1000;
  const std::int64_t total = number("UndoTotal");
  QProgressDialog dialog(QString("Nehme den Importlauf %1 zurück").arg(run), "Anhalten", 0, kParts, window);
  dialog.setObjectName("undoDialog");
  dialog.setWindowTitle("Rückgängig machen");
  // Whichever window it stands above, nothing else writes to the database meanwhile.
  dialog.setWindowModality(Qt::ApplicationModal);
  dialog.setAutoClose(false);
  dialog.setAutoReset(false);
  dialog.setMinimumDuration(0);
  dialog.show();
  UndoOutcome outcome;
  bool is_more = true;
  const auto next = [&] { is_more = CallMethod(ledger, "NextUndo").ToBool(); };
  while (is_more && !dialog.wasCanceled()) {
    if (!Trap(next, [&](const RuntimeError& error) { outcome.failure = error; })) break;
    const std::int64_t done = number("UndoDone");
    dialog.setLabelText(
        QString("Nehme Datensatz %1 von %2 zurück").arg(GermanNumber(done), GermanNumber(total)));
    // This lets the windows repaint and the button be pressed.
    dialog.setValue(total == 0 ? kParts : static_cast<int>(kParts * done / total));
  }
  dialog.close();
  // A dialog that lives shorter than the window manager takes to show it leaves the keyboard to any window.
  window->activateWindow();
  outcome.is_complete = !is_more;
  outcome.removed = number("Removed");
  outcome.restored = number("Restored");
  Trap([&] { outcome.left_alone = ToRecordset(CallMethod(ledger, "LeftAlone")); },
       [&](const RuntimeError& error) {
         if (!outcome.failure) outcome.failure = error;
       });
  return outcome;
}

}  // namespace kestrel::host
