#include "cli/progress_line.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "cli/display_width.h"
#include "platform/base/terminal_text.h"

namespace kestrel::cli {

ProgressLine::ProgressLine(Workspace& workspace, Progress progress)
    : screen_(workspace.screen()),
      ui_(workspace.ui()),
      watcher_(workspace.watcher()),
      bar_(watcher_ == nullptr && progress == Progress::kAuto && Screen::ErrDraws()),
      plain_(watcher_ == nullptr && (progress == Progress::kPlain ||
                                     (progress == Progress::kAuto && !bar_ && Screen::ErrColumns() > 0))),
      stream_(bar_ ? workspace.terminal() : workspace.err()) {
  ui_.BeforeBoxes([this] { End(); });
}

void ProgressLine::SetPercent(double percent) {
  percent_ = percent;
  if (plain_) {
    const int tenth = static_cast<int>(percent / 10);
    if (tenth > tenths_shown_) {
      tenths_shown_ = tenth;
      stream_ << info_ << " (" << tenth * 10 << " %)" << std::endl;
    }
  } else if (percent >= 100) {
    Draw();
  }
}

void ProgressLine::Tick() {
  if ((bar_ || watcher_ != nullptr) && pace_.Due()) Draw();
}

void ProgressLine::End() {
  if (drawn_) stream_ << std::endl;
  drawn_ = false;
}

void ProgressLine::Draw() {
  if (watcher_ != nullptr) watcher_->Show(info_, percent_);
  if (!bar_) return;
  drawn_ = true;
  const std::string& pace = run_pace_.At(RunPace::Clock::now(), record_, percent_);
  // In its last column a terminal may go on to the next line.
  const std::size_t columns = std::max<std::size_t>(Screen::ErrColumns(), 2) - 1;
  const std::string text = ProgressText(percent_, TerminalText(info_, TextLayout::kOneLine), pace, columns);
  stream_ << '\r' << screen_.charset().Encode(text) << "\x1b[K" << std::flush;
}

std::string ProgressText(double percent, const std::string& info, const std::string& pace,
                         std::size_t columns) {
  constexpr std::size_t kWidestBar = 30;
  constexpr std::size_t kNarrowestBar = 10;
  constexpr std::size_t kFrame = 3;  // brackets and a blank
  std::string text = std::to_string(std::lround(percent)) + " %  " + info;
  if (!pace.empty()) text += "  " + pace;
  const std::size_t width = DisplayWidth(text);
  if (width + kFrame + kNarrowestBar > columns) return std::string(FittingBeginning(text, columns));
  const std::size_t bar = std::min(kWidestBar, columns - width - kFrame);
  const auto filled =
      static_cast<std::size_t>(std::lround(std::clamp(percent, 0.0, 100.0) * static_cast<double>(bar) / 100));
  std::string line = "[";
  for (std::size_t i = 0; i < bar; ++i) line += i < filled ? "█" : "·";
  return line + "] " + text;
}

}  // namespace kestrel::cli
