// What a host's own windows do for those of the wizard. All of it is optional: what a host leaves out is not offered.
// Called by the thread of the QApplication. Texts and paths are UTF-8. What a call raises is told in a box.
#pragma once

#include <QWidget>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/run_result.h"

namespace kestrel {

// What the host's ledger knows of an import.
struct SpecificationRun {
  std::string specification = {};  // its whole path
  std::string source = {};         // where its data came from
  std::string begin = {};          // "JJJJ-MM-TT HH:MM:SS"
  std::string state = {};          // in a word, for a person; empty: it came to its end
  std::int64_t read = 0;           // records
  std::int64_t added = 0;          // new addresses
  std::int64_t updated = 0;        // addresses that hold something else now
  std::int64_t not_stored = 0;     // held back or rejected
};

// What taking an import back has come to.
struct UndoneRun {
  // How much of the import has been taken back.
  enum class State {
    kUnchanged,  // nothing was done
    kPartly,     // stopped, or something was left alone; another undo goes on with it
    kWholly,     // nothing is left to take back
  };
  std::string told = {};            // what was done, for a person
  State state = State::kUnchanged;  // of the import, behind this undo
};

// What is offered; a null function is not.
struct WizardHost {
  // Shows what the run has left in the host's logs.
  std::function<void(const RunResult& run)> show_log = nullptr;
  // Takes an import back: the run that the host's ledger knows by this number (RunResult::run_number). Asks before,
  // above `window`.
  std::function<UndoneRun(const std::string& run_number, QWidget* window)> undo = nullptr;
  // The last imports, the latest first; asked when step 1 fills its list, so it is to take no time worth telling.
  std::function<std::vector<SpecificationRun>()> last_runs = nullptr;
};

}  // namespace kestrel
