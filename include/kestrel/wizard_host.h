// What a host's own windows do for those of the wizard. All of it is optional: what a host leaves out is not offered.
// Called by the thread of the QApplication. Texts and paths are UTF-8. What a call raises is told in a box.
#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "kestrel/run_result.h"

namespace kestrel {

struct WizardHost {
  // Shows what the run has left in the host's logs.
  std::function<void(const RunResult& run)> show_log;
  // Takes an import back: the run that the host's ledger knows by this number (RunResult::run_number). Asks before,
  // above `window`. Returns what was done, for a person; empty where nothing was.
  std::function<std::string(const std::string& run_number, QWidget* window)> undo;
};

}  // namespace kestrel
