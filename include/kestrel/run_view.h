// Who watches a run: a window, a progress bar, or nobody. Called by the thread that runs the import; texts are UTF-8
// and live until the call returns.
#pragma once

#include <string_view>

#include "kestrel/export.h"
#include "kestrel/record_outcome.h"

namespace kestrel {

class KESTREL_EXPORT RunView {
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
  // Whether it shows itself how the run has ended (SetInfo, RunResult), so that no message box does. Asked at the end.
  virtual bool ShowsResult() const { return false; }
  // Closes the window; the run is finished.
  virtual void CloseWindow() = 0;
  // Lets the message loop run while the run waits for another program, or for a thread that stores: several times a second.
  virtual void YieldInWait() { Yield(); }
  // Whether it is a window that people use. What takes the database long is then done by another thread, so that YieldInWait
  // is called meanwhile; asked by any wait.
  virtual bool IsWindow() const { return false; }
};

}  // namespace kestrel
