#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <ostream>

#include "cli/program.h"
#include "import/import_run.h"
#include "import/pace.h"
#include "mapping/field_assignment.h"
#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

// Set by SIGINT and SIGTERM, which ask for an end as closing the run's window does.
std::atomic<bool> stop_requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free data");

class SignalsAskToStop {
 public:
  SignalsAskToStop() {
    stop_requested = false;
    struct sigaction action {};
    action.sa_handler = [](int) { stop_requested = true; };
    ::sigaction(SIGINT, &action, &old_interrupt_);
    ::sigaction(SIGTERM, &action, &old_terminate_);
  }
  SignalsAskToStop(const SignalsAskToStop&) = delete;
  SignalsAskToStop& operator=(const SignalsAskToStop&) = delete;
  ~SignalsAskToStop() {
    ::sigaction(SIGINT, &old_interrupt_, nullptr);
    ::sigaction(SIGTERM, &old_terminate_, nullptr);
  }

 private:
  struct sigaction old_interrupt_ {};
  struct sigaction old_terminate_ {};
};

// Shows the run on a terminal: one line with a bar, redrawn at most every 50 ms; or, plain, a line at every
// tenth of the way.
class ConsoleRunView final : public RunView {
 public:
  ConsoleRunView(std::ostream& stream, bool bar, bool plain) : stream_(stream), bar_(bar), plain_(plain) {}

  void Attach(ImportRun& run) { run_ = &run; }

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
    if (stop_requested.load(std::memory_order_relaxed) && run_ != nullptr) run_->RequestClose();
    if (bar_ && pace_.Due()) Draw();
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
    line += "] " + std::to_string(std::lround(percent_)) + " %  " + info_ + "\x1b[K";
    stream_ << line << std::flush;
  }

  std::ostream& stream_;
  bool bar_;
  bool plain_;
  ImportRun* run_ = nullptr;
  std::string info_;
  double percent_ = 0;
  int tenths_shown_ = 0;
  bool drawn_ = false;
  Pace pace_{std::chrono::milliseconds(50)};
};

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
        .End();
    return;
  }
  TableWriter table(workspace.out(), workspace.options().format,
                    {{"Datensätze", ""}, {"von", ""}, {"Fehler", ""}, {"Dubletten", ""}, {"Test", ""}});
  table.Row({std::to_string(result.records), std::to_string(result.total),
             std::to_string(result.cancelled ? 0 : result.errors), std::to_string(result.duplicates),
             test ? "ja" : "nein"});
}

}  // namespace

int RunCommand(Workspace& workspace, const RunOptions& options) {
  Session& session = workspace.session();
  workspace.OpenHost();
  workspace.LoadSpecification(options.spec, options.source_file);
  workspace.OpenImportClass();
  workspace.OpenSource();

  std::string failure;
  BuildAssignmentList(session, &failure);
  if (!failure.empty()) throw NotUsable("Die Felder des Ziels konnten nicht gelesen werden. " + failure);
  if (MandatoryFieldUnassigned(*session.AssignmentList)) {
    throw NotUsable("Ein Pflichtfeld wurde noch nicht zugeordnet. 'kestrel-import check' nennt es.");
  }
  if (DateFieldWithoutFormat(*session.AssignmentList)) {
    throw NotUsable(
        "Bei einem Datumsfeld wurde noch keine Formatierung bestimmt.. 'kestrel-import check' nennt es.");
  }
  session.TestMode = options.test;

  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  ConsoleRunView view(workspace.err(), options.progress == Progress::kAuto && terminal,
                      options.progress == Progress::kPlain);
  ImportRun run(session, view);
  view.Attach(run);
  {
    const SignalsAskToStop signals;
    run.Activate();
  }
  const RunResult& result = run.result();
  WriteResult(workspace, result, options.test);
  if (result.cancelled) return kCancelled;
  if (result.aborted) return kStoppedByUser;
  return result.errors == 0 ? kDone : kErrorsCounted;
}

}  // namespace kestrel::cli
