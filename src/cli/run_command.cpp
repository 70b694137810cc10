#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/json_log.h"
#include "cli/progress_line.h"
#include "import/rejects.h"
#include "import/run_texts.h"
#include "platform/base/counted.h"
#include "sources/source_kind.h"

namespace kestrel::cli {

namespace {

class ConsoleRunView final : public RunView {
 public:
  // `log` may be null.
  ConsoleRunView(Workspace& workspace, const RunOptions& options, JsonLog* log)
      : stream_(workspace.err()),
        signals_(workspace.signals()),
        job_(workspace.job()),
        log_(log),
        is_quiet_(options.quiet),
        holds_(options.quiet && workspace.watcher() == nullptr),
        progress_(workspace, options.quiet ? Progress::kNone : options.progress) {}

  void SetInfo(std::string_view text) override { progress_.SetInfo(text); }
  void SetProgress(double percent) override { progress_.SetPercent(percent); }
  void Yield() override {
    if (signals_.StopRequested() && !std::exchange(is_stopped_, true)) job_.RequestStop();
    progress_.Tick();
  }
  void Tell(std::string_view text) override {
    if (holds_) {
      held_.emplace_back(text);
    } else {
      progress_.End();
      stream_ << text << std::endl;
    }
    if (log_ != nullptr) log_->Message(text);
  }
  // What was told meanwhile, as that a lock was waited for: quiet, it is worth reading where the end was not good.
  void TellHeld() {
    for (const std::string& text : held_) stream_ << text << std::endl;
  }
  void RecordDone(const RecordOutcome& outcome) override {
    progress_.SetRecord(outcome.record);
    if (log_ != nullptr) log_->Record(outcome);
  }
  void Revise(const OutcomeRevision& revision) override {
    if (log_ != nullptr) log_->Revise(revision);
  }
  // Quiet, the command itself tells an end that was not good.
  bool ShowsResult() const override { return is_quiet_; }
  void CloseWindow() override { progress_.End(); }

 private:
  std::ostream& stream_;
  const StopSignals& signals_;
  ImportJob& job_;
  JsonLog* log_;
  const bool is_quiet_;
  const bool holds_;  // a watcher wants to know at once
  ProgressLine progress_;
  std::vector<std::string> held_;
  bool is_stopped_ = false;
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

// Records refused one after the other, all with one error, are enough to know that the others will be.
constexpr std::int32_t kMostSameErrors = 100;

void WriteResult(Workspace& workspace, const RunResult& result, bool test) {
  const RunFigures& figures = result.figures;
  if (workspace.options().format == OutputFormat::kJson) {
    std::vector<std::pair<std::string, std::int64_t>> cut_fields;
    for (const CutField& cut : figures.cut_fields()) cut_fields.emplace_back(cut.field, cut.values);
    JsonObject(workspace.out())
        .Number("records", result.records)
        .NumberFrom("total", result.total, 0)
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
        .OptionalText("sourceError", result.source_end.error ? result.source_end.error->Description() : "")
        .OptionalText("sourceKept", result.source_kept)
        .OptionalText("stopReason", result.stop_reason)
        .Number("unlogged", result.unlogged_count)
        .Number("storedNew", figures.stored_new())
        .Number("updated", figures.updated())
        .Number("heldBack", figures.held_back())
        .Number("cutValues", figures.cut_values())
        .Numbers("cutFields", cut_fields)
        .Number("skipped", result.skipped)
        .NumberFrom("nextRecord", result.next_record, 1)
        .Number("rejects", result.rejects)
        .Value("run", JsonKind::kNumber, result.run_number)
        .OptionalText("rejectsError", result.rejects_error)
        .End();
    return;
  }
  TableWriter table(workspace.out(), workspace.look(),
                    {{"Datensätze", ""},
                     {"von", ""},
                     {"Fehler", ""},
                     {"Dubletten", ""},
                     {"Test", ""},
                     {"Gespeichert", ""},
                     {"Abgewiesen", ""},
                     {"Geprüft", ""},
                     {"Neu", ""},
                     {"Geändert", ""},
                     {"Gekürzt", ""}});
  table.Row({std::to_string(result.records), result.total < 0 ? "" : std::to_string(result.total),
             std::to_string(result.cancelled ? 0 : result.errors), std::to_string(result.duplicates),
             test ? "ja" : "nein", std::to_string(result.stored), std::to_string(result.rejected),
             std::to_string(result.checked), std::to_string(figures.stored_new()),
             std::to_string(figures.updated()), std::to_string(figures.cut_values())});
}

// What a person does next. The figures in words stand beside a table for people only.
void TellRest(Workspace& workspace, const RunResult& result, const RunOptions& options) {
  std::ostream& err = workspace.err();
  if (workspace.options().format == OutputFormat::kText && !result.cancelled)
    err << FiguresText(result.figures) << std::endl;
  const std::string& file = options.settings.rejects_file;
  const std::string test = options.test ? " --test" : "";
  bool is_command_told = false;
  const bool wrote_rejects = !file.empty() && !result.cancelled && result.rejects_error.empty();
  if (wrote_rejects) {
    err << Counted(result.rejects, "nicht gespeicherter Datensatz steht",
                   "nicht gespeicherte Datensätze stehen")
        << " in '" << file << "'.";
    if (result.rejects > 0) {
      err << " Nach der Abhilfe importiert " << (result.rejects == 1 ? "ihn" : "sie") << ": "
          << workspace.TypedCommand("run " + ShellWord(options.spec) + " --file " + ShellWord(file) + test);
      is_command_told = true;
    }
    err << std::endl;
  } else if (result.next_record > 0) {
    std::string command = "run " + ShellWord(options.spec);
    if (!options.source_file.empty()) command += " --file " + ShellWord(options.source_file);
    command += " --from " + std::to_string(result.next_record) + test;
    err << "Fortsetzen mit: " << workspace.TypedCommand(command) << std::endl;
    is_command_told = true;
  }
  if (const std::string way = workspace.WayToPassword(); is_command_told && !way.empty())
    err << way << std::endl;
}

ExitStatus StatusOf(const RunResult& result) {
  if (result.cancelled) return kCancelled;
  if (!result.stop_reason.empty()) return kNotUsable;
  if (!result.rejects_error.empty()) return kNotUsable;
  if (result.source_end.error && result.records == 0) return kNotUsable;
  if (result.aborted) return kStoppedByUser;
  return result.errors == 0 ? kDone : kErrorsCounted;
}

// The one is replaced at the end, so what was added to the other would be gone.
void RequireTwoFiles(const std::string& rejects, const std::string& json_log) {
  std::error_code error;
  const auto place = [&](const std::string& path) { return std::filesystem::weakly_canonical(path, error); };
  if (!rejects.empty() && place(rejects) == place(json_log) && !error) {
    throw NotUsable("--rejects und --json-log nennen dieselbe Datei '" + json_log +
                    "'. Geben Sie zwei verschiedene an.");
  }
}

}  // namespace

int RunCommand(Workspace& workspace, const RunOptions& options) {
  ImportJob& job = workspace.job();
  if (!options.user.empty()) workspace.session().PersonalNr = options.user;
  workspace.OpenHost();
  workspace.RequireWritableHost();
  workspace.LoadSpecification(options.spec, options.source_file);
  job.Prepare();
  job.settings() = options.settings;
  job.settings().most_same_errors = kMostSameErrors;
  std::optional<JsonLog> log;
  if (!options.json_log.empty()) {
    const Session& session = workspace.session();
    Rejects::RequireNotInUse(options.json_log, session);
    RequireTwoFiles(options.settings.rejects_file, options.json_log);
    log.emplace(options.json_log);
    log->Start(session.ChosenSpecFile, session.*KindOf(session)->location);
  }
  ConsoleRunView view(workspace, options, log ? &*log : nullptr);
  {
    const StopSignals::Asking first_signal_asks(workspace.signals());
    job.RunDespiteFindings(view, options.test ? RunMode::kTest : RunMode::kImport);
  }
  const RunResult& result = job.result();
  if (log) log->End(result);
  const ExitStatus status = StatusOf(result);
  const bool is_well = status == kDone && result.source_kept.empty() && result.unlogged_count == 0;
  const bool is_told = !options.quiet || !is_well;
  if (options.quiet && is_told) {
    view.TellHeld();
    workspace.err() << result.message << std::endl;
  }
  if (!options.quiet || workspace.options().format != OutputFormat::kText)
    WriteResult(workspace, result, options.test);
  if (is_told) TellRest(workspace, result, options);
  if (!log || log->error() == 0) return status;
  workspace.err() << "Das Protokoll des Laufs ist unvollständig. "
                  << ErrorFromErrno(log->error(), options.json_log).Description() << std::endl;
  return kNotUsable;
}

}  // namespace kestrel::cli
