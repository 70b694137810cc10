#include <unistd.h>

#include <chrono>
#include <cmath>
#include <ostream>

#include "cli/program.h"
#include "import/pace.h"
#include "platform/base/terminal_text.h"

namespace kestrel::cli {

namespace {

// Shows the run on a terminal: one line with a bar, redrawn at most every 50 ms; or, plain, a line at every
// tenth of the way.
class ConsoleRunView final : public RunView {
 public:
  ConsoleRunView(Workspace& workspace, bool bar, bool plain)
      : stream_(bar ? workspace.terminal() : workspace.err()),
        signals_(workspace.signals()),
        job_(workspace.job()),
        bar_(bar),
        plain_(plain) {}

  void SetInfo(std::string_view text) override { info_.assign(text); }

  void SetProgress(double percent) override {
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

  void Yield() override {
    if (signals_.StopRequested()) job_.RequestStop();
    if (bar_ && pace_.Due()) Draw();
  }

  void Tell(std::string_view text) override {
    if (drawn_) stream_ << std::endl;
    drawn_ = false;
    stream_ << text << std::endl;
  }

  void CloseWindow() override {
    if (drawn_) stream_ << std::endl;
  }

 private:
  void Draw() {
    constexpr int kWidth = 30;
    drawn_ = true;
    const int filled = static_cast<int>(std::lround(std::min(percent_, 100.0) * kWidth / 100));
    std::string line = "\r[";
    for (int i = 0; i < kWidth; ++i) line += i < filled ? "█" : "·";
    line += "] " + std::to_string(std::lround(percent_)) + " %  " + TerminalText(info_, TextLayout::kOneLine) +
            "\x1b[K";
    stream_ << line << std::flush;
  }

  std::ostream& stream_;
  const StopSignals& signals_;
  ImportJob& job_;
  bool bar_;
  bool plain_;
  std::string info_;
  double percent_ = 0;
  int tenths_shown_ = 0;
  bool drawn_ = false;
  Pace pace_{std::chrono::milliseconds(50)};
};

const char* NameOf(SourceState state) {
  switch (state) {
    case SourceState::kNotOpened: return "not opened";
    case SourceState::kOpen: return "open";
    case SourceState::kAtEnd: return "complete";
    case SourceState::kBrokenOff: return "broken off";
    case SourceState::kClosed: break;
  }
  return "not read";
}

void WriteResult(Workspace& workspace, const RunResult& result, bool test) {
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject(workspace.out())
        .Number("records", result.records)
        .Number("total", result.total)
        .Number("errors", result.cancelled ? 0 : result.errors)
        .Number("duplicates", result.duplicates)
        .Truth("aborted", result.aborted)
        .Truth("cancelled", result.cancelled)
        .Truth("test", test)
        .Text("message", result.message)
        .Number("stored", result.stored)
        .Number("rejected", result.rejected)
        .Number("checked", result.checked)
        .Text("source", NameOf(result.source_end.state))
        .Text("sourceError", result.source_end.error ? result.source_end.error->Description() : "")
        .Text("sourceKept", result.source_kept)
        .Text("stopReason", result.stop_reason)
        .Number("unlogged", result.unlogged_count)
        .End();
    return;
  }
  TableWriter table(workspace.out(), workspace.options().format,
                    {{"Datensätze", ""},
                     {"von", ""},
                     {"Fehler", ""},
                     {"Dubletten", ""},
                     {"Test", ""},
                     {"Gespeichert", ""},
                     {"Abgewiesen", ""},
                     {"Geprüft", ""}});
  table.Row({std::to_string(result.records), std::to_string(result.total),
             std::to_string(result.cancelled ? 0 : result.errors), std::to_string(result.duplicates),
             test ? "ja" : "nein", std::to_string(result.stored), std::to_string(result.rejected),
             std::to_string(result.checked)});
}

ExitStatus StatusOf(const RunResult& result) {
  if (result.cancelled) return kCancelled;
  if (!result.stop_reason.empty()) return kNotUsable;
  if (result.source_end.error && result.records == 0) return kNotUsable;
  if (result.aborted) return kStoppedByUser;
  return result.errors == 0 ? kDone : kErrorsCounted;
}

}  // namespace

int RunCommand(Workspace& workspace, const RunOptions& options) {
  ImportJob& job = workspace.job();
  workspace.OpenHost();
  workspace.LoadSpecification(options.spec, options.source_file);
  job.Prepare();
  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  ConsoleRunView view(workspace, options.progress == Progress::kAuto && terminal,
                      options.progress == Progress::kPlain);
  {
    const StopSignals::Asking first_signal_asks(workspace.signals());
    job.RunDespiteFindings(view, options.test ? RunMode::kTest : RunMode::kImport);
  }
  WriteResult(workspace, job.result(), options.test);
  return StatusOf(job.result());
}

}  // namespace kestrel::cli
