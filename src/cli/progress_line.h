// How far a command has come, on standard error: on a terminal one line with a bar, with rate and time left, as wide as
// the terminal at most, redrawn at most every 50 ms; or, plain, a line at every tenth of the way. A terminal that
// cannot go back in its line gets the plain lines. A watcher of the command, where there is one, is told instead.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "cli/program.h"
#include "import/pace.h"
#include "import/run_pace.h"

namespace kestrel::cli {

// The line that is drawn, without control characters: at most `columns` wide.
std::string ProgressText(double percent, const std::string& info, const std::string& pace, std::size_t columns);

class ProgressLine {
 public:
  // The workspace outlives this object.
  ProgressLine(Workspace& workspace, Progress progress);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { ui_.BeforeBoxes({}); }

  void SetInfo(std::string_view text) { info_.assign(text); }
  void SetPercent(double percent);
  // The number of the record that is done; none is set where records are no measure.
  void SetRecord(std::int32_t record) { record_ = record; }
  // Called again and again: draws what has changed, where it is time.
  void Tick();
  // Ends a line that was drawn, so that what follows begins on one of its own. Boxes do so by themselves.
  void End();

 private:
  void Draw();

  const Screen& screen_;
  ConsoleOfACommand& ui_;
  ProgressWatcher* const watcher_;
  const bool bar_;
  const bool plain_;
  std::ostream& stream_;
  std::string info_;
  double percent_ = 0;
  std::int32_t record_ = 0;
  RunPace run_pace_;
  int tenths_shown_ = 0;
  bool drawn_ = false;
  Pace pace_{std::chrono::milliseconds(50)};
};

}  // namespace kestrel::cli
