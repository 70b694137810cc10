// The run: one import from the first source record to the closing message, without a window.
//
// The window (or the console) is a RunView. The run tells it what to show and asks it to yield; a close
// request arrives through RequestClose or RequestAbort and is honoured at the start of the next round.
#pragma once

#include <string_view>

#include "import/active_import.h"
#include "kestrel/record_outcome.h"
#include "kestrel/run_result.h"

namespace kestrel {

class RunView {
 public:
  virtual ~RunView() = default;
  // The text of lblInfo. Called once a record and once at the end; the view lives until the call returns.
  // An implementation may coalesce repaints.
  virtual void SetInfo(std::string_view text) = 0;
  // The value of ProgressBar, a percentage.
  virtual void SetProgress(double percent) = 0;
  // Lets the message loop run.
  virtual void Yield() = 0;
  // Something that stands in no log and is no progress: an error that the log did not take, why the source file
  // stays. Kept in sight until the window closes.
  virtual void Tell(std::string_view) {}
  // What became of a record, at the end of its round. The outcome is reused for the next one. What this and
  // Revise raise is ignored.
  virtual void RecordDone(const RecordOutcome&) {}
  // An error that belongs to records told before, or to none; another fate of records told before. Also before
  // the first record, behind the last and behind CloseWindow.
  virtual void Revise(const OutcomeRevision&) {}
  // Closes the window; the run is finished.
  virtual void CloseWindow() = 0;
};

class ImportRun {
 public:
  // Both outlive the run. The session of the import holds its class, assignment list and source settings.
  ImportRun(ActiveImport& import, RunView& view) : import_(import), view_(view) {}

  // First activation of the window: runs the import and ends it. Later calls, also from within the run, do
  // nothing. Raises nothing: what fails is counted and logged.
  void Activate();
  // A request to close: true when the window may close (the run has finished), otherwise the abort is
  // noted and the close refused.
  bool RequestClose();
  void RequestAbort() { abort_requested_ = true; }
  bool finished() const { return finished_; }
  // Complete once finished.
  const RunResult& result() const { return result_; }

 private:
  // Runs the import and fills the result. The order of its steps is told in the .cpp.
  void ImportStart();

  ActiveImport& import_;
  RunView& view_;
  bool first_activation_ = true;
  bool abort_requested_ = false;
  bool finished_ = false;
  RunResult result_;
};

}  // namespace kestrel
