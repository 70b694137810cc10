// How far a command has come, on standard error: on a terminal one line with a bar, redrawn at most every 50 ms; or,
// plain, a line at every tenth of the way.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "cli/program.h"
#include "import/pace.h"

namespace kestrel::cli {

class ProgressLine {
 public:
  // The workspace outlives this object.
  ProgressLine(Workspace& workspace, Progress progress);

  void SetInfo(std::string_view text) { info_.assign(text); }
  void SetPercent(double percent);
  // Called again and again: draws what has changed, where it is time.
  void Tick();
  // Ends a line that was drawn, so that what follows begins on one of its own.
  void End();

 private:
  void Draw();

  const bool bar_;
  const bool plain_;
  std::ostream& stream_;
  std::string info_;
  double percent_ = 0;
  int tenths_shown_ = 0;
  bool drawn_ = false;
  Pace pace_{std::chrono::milliseconds(50)};
};

}  // namespace kestrel::cli
