#include "cli/progress_line.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ostream>

#include "platform/base/terminal_text.h"

namespace kestrel::cli {

ProgressLine::ProgressLine(Workspace& workspace, Progress progress)
    : bar_(progress == Progress::kAuto && ::isatty(STDERR_FILENO) == 1),
      plain_(progress == Progress::kPlain),
      stream_(bar_ ? workspace.terminal() : workspace.err()) {}

void ProgressLine::SetPercent(double percent) {
  percent_ = percent;
  if (plain_) {
    const int tenth = static_cast<int>(percent / 10);
    if (tenth > tenths_shown_) {
      tenths_shown_ = tenth;
      stream_ << info_ << " (" << tenth * 10 << " %)" << std::endl;
    }
  } else if (bar_ && percent >= 100) {
    Draw();
  }
}

void ProgressLine::Tick() {
  if (bar_ && pace_.Due()) Draw();
}

void ProgressLine::End() {
  if (drawn_) stream_ << std::endl;
  drawn_ = false;
}

void ProgressLine::Draw() {
  constexpr int kWidth = 30;
  drawn_ = true;
  const int filled = static_cast<int>(std::lround(std::min(percent_, 100.0) * kWidth / 100));
  std::string line = "\r[";
  for (int i = 0; i < kWidth; ++i) line += i < filled ? "█" : "·";
  line += "] " + std::to_string(std::lround(percent_)) + " %  " + TerminalText(info_, TextLayout::kOneLine) +
          "\x1b[K";
  stream_ << line << std::flush;
}

}  // namespace kestrel::cli
