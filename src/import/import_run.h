// The run: one import from the first source record to the closing message, without a window.
//
// The window (or the console) is a RunView. The run tells it what to show and asks it to yield; a close
// request arrives through RequestAbort and is honoured at the start of the next round.
#pragma once

#include <memory>

#include "import/active_import.h"
#include "kestrel/run_result.h"
#include "kestrel/run_settings.h"
#include "kestrel/run_view.h"

namespace kestrel {

class Rejects;

class ImportRun {
 public:
  // Both outlive the run. The session of the import holds its class, assignment list and source settings.
  ImportRun(ActiveImport& import, RunView& view, RunSettings settings = {});
  ImportRun(const ImportRun&) = delete;
  ImportRun& operator=(const ImportRun&) = delete;
  ~ImportRun();

  // First activation of the window: runs the import and ends it. Later calls, also from within the run, do
  // nothing. Raises nothing: what fails is counted and logged.
  void Activate();
  // The run ends at the start of its next round; where it has ended, reading the rest of the source for the rejects.
  void RequestAbort() {
    abort_requested_ = true;
    ++abort_requests_;
  }
  // Complete when the view is told to close.
  const RunResult& result() const { return result_; }
  // What was not stored, once; null where it was not to be kept, or could not be.
  std::unique_ptr<Rejects> TakeRejects();

 private:
  // Runs the import and fills the result. The order of its steps is told in the .cpp.
  void ImportStart();

  ActiveImport& import_;
  RunView& view_;
  RunSettings settings_;
  std::unique_ptr<Rejects> rejects_;
  bool first_activation_ = true;
  bool abort_requested_ = false;
  int abort_requests_ = 0;
  RunResult result_;
};

}  // namespace kestrel
