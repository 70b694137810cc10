// Invariants
//  1. What is open belongs to one import: a working copy (open_), then the import class, the source and the
//     assignment list, each only while the ones before it in Prepare are.
//  2. Each step is taken once; Open, Choose, Cancel and the end of a run begin anew.
//  3. A job with a session of its own leaves no working copy behind.
#include "kestrel/import_job.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "check/assignment_check.h"
#include "check/source_check.h"
#include "import/find_specification.h"
#include "import/import_job_steps.h"
#include "import/rejects.h"
#include "kestrel/import_man.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "sources/source_kind.h"
#include "spec/profile_access.h"
#include "spec/save_schema.h"
#include "spec/specification.h"

namespace kestrel {

namespace {

ImportRefused Refuse(FindingPlace place, std::string text, std::string way_out = "") {
  return ImportRefused(Finding{Severity::kError, std::move(place), std::move(text), std::move(way_out)});
}

// A run that nobody watches; what stands in no log is told all the same.
class UnwatchedRun final : public RunView {
 public:
  explicit UnwatchedRun(std::function<void(std::string_view)> tell) : tell_(std::move(tell)) {}
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void Tell(std::string_view text) override {
    if (tell_) tell_(text);
  }
  void CloseWindow() override {}

 private:
  std::function<void(std::string_view)> tell_;
};

// Names the run under way until the end of the scope, however it ends.
class UnderWay {
 public:
  UnderWay(ImportRun*& named, ImportRun& run) : named_(named) { named_ = &run; }
  UnderWay(const UnderWay&) = delete;
  UnderWay& operator=(const UnderWay&) = delete;
  ~UnderWay() { named_ = nullptr; }

 private:
  ImportRun*& named_;
};

bool IsMissingFolder(const std::string& path) {
  // One that cannot be looked at is an error of the run, which keeps the source as well.
  std::error_code unknown;
  const auto kind = std::filesystem::status(path, unknown).type();
  return kind != std::filesystem::file_type::none && kind != std::filesystem::file_type::directory;
}

}  // namespace

struct ImportJob::Steps::OwnSession {
  explicit OwnSession(const Platform& platform)
      : ui(platform.ui), session({ui, platform.components, platform.clock, platform.source_kinds}) {}

  MutedUserInterface ui;
  Session session;
};

ImportJob::Steps::Steps(const Platform& platform)
    : own_(std::make_unique<OwnSession>(platform)), session_(own_->session) {}

ImportJob::Steps::Steps(Session& session) : session_(session) {}

ImportJob::Steps::~Steps() {
  if (own_ != nullptr) Cancel();
}

// --- Opening ------------------------------------------------------------------------------------

void ImportJob::Steps::Open(const ImportOrder& order) {
  RequireIdle();
  Cancel();
  tell_ = order.tell;
  if (order.host_connection != nullptr) session_.HostConnection = order.host_connection;
  if (!order.user.empty()) session_.PersonalNr = order.user;
  const std::string path =
      FindSpecification(order.folder.empty() ? DefaultSpecFolder() : order.folder, order.specification);
  session_.SpecFile = path;
  ReadCommonSection(session_);
  LoadApplication(order, path);
  session_.SpecFolder = order.working_folder.empty() ? ParentFolder(path) : order.working_folder;
  CreateWorkingCopy(session_, working_copy_lock_);
  open_ = true;
  session_.ImportFileName = order.source_file == "-" ? "/dev/stdin" : order.source_file;
  const SourceKind* const stored_kind = KindOf(session_);
  ApplyImportFileName(session_, FileEndings::kAll);
  if (KindOf(session_) != stored_kind) UseHandedInText(session_);
  ResolveSourcePaths();
}

void ImportJob::Steps::LoadApplication(const ImportOrder& order, const std::string& path) {
  if (order.app_mode) {
    session_.AppMode = *order.app_mode;
    return;
  }
  const std::string application = GetIniString(path, "Common", "Application", "2");
  const auto app_mode = ParseWholeNumber(application);
  if (!app_mode || *app_mode < INT16_MIN || *app_mode > INT16_MAX) {
    throw Refuse({"Common", "Application"},
                 path + ": [Common] Application='" + application + "' ist keine Nummer einer Anwendung.");
  }
  session_.AppMode = static_cast<std::int16_t>(*app_mode);
}

void ImportJob::Steps::ResolveSourcePaths() {
  const auto resolve = [&](std::string& path) {
    if (path.empty() || path.front() == '/' || FileExists(path) || FolderExists(path)) return;
    const std::string beside = JoinPath(ParentFolder(session_.ChosenSpecFile), path);
    if (FileExists(beside) || FolderExists(beside)) path = beside;
  };
  const SourceKind* kind = KindOf(session_);
  if (kind == nullptr || kind->place == SourcePlace::kServer) return;
  resolve(session_.*kind->location);
  if (kind->Has(&Session::SavePath)) resolve(session_.SavePath);
}

void ImportJob::Steps::Choose(const std::string& path) {
  RequireIdle();
  Cancel();
  session_.SpecFile = path;
  ReadCommonSection(session_);
  CreateWorkingCopy(session_, working_copy_lock_);
  open_ = true;
}

void ImportJob::Steps::SaveSchema(bool Commit) { kestrel::SaveSchema(session_, working_copy_lock_, Commit); }

void ImportJob::Steps::Cancel() {
  if (run_ != nullptr) return RequestStop();
  // In a session of the pages an earlier import may have left its own.
  const bool has_copy = open_ || own_ == nullptr;
  BeginAnew();
  if (has_copy) DeleteWorkingCopy(session_);
  working_copy_lock_.Release();
}

// The pages may find an import class in their session that was not created by this job.
ActiveImport& ImportJob::Steps::Import() {
  if (import_ == nullptr) import_ = std::make_unique<ActiveImport>(session_);
  return *import_;
}

void ImportJob::Steps::BeginAnew() {
  import_.reset();
  open_ = class_open_ = source_open_ = fields_built_ = stop_requested_ = false;
  fields_failure_.clear();
  fields_error_.reset();
  piped_source_.reset();
}

std::optional<MutedUserInterface::Mute> ImportJob::Steps::MuteBoxes() {
  if (own_ == nullptr) return std::nullopt;
  return std::optional<MutedUserInterface::Mute>(std::in_place, own_->ui);
}

void ImportJob::Steps::RequireIdle() const {
  if (run_ != nullptr) throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Der Import läuft bereits.");
}

void ImportJob::Steps::RequireOpen() const {
  if (!open_)
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Es ist keine Importspezifikation geöffnet.");
}

// --- Import class, source, assignments ----------------------------------------------------------

bool ImportJob::Steps::OpenImportClass(std::optional<RuntimeError>* failure) {
  // The import class goes before the logs of its import.
  session_.ImportClass.reset();
  import_.reset();
  import_ = std::make_unique<ActiveImport>(session_);
  class_open_ = CreateImportClass(session_, failure);
  return class_open_;
}

void ImportJob::Steps::OpenImportClass() {
  RequireOpen();
  if (class_open_) return;
  if (session_.ImportClassProgID.empty()) {
    throw Refuse(
        {"Common", "ImportClass"},
        session_.ChosenSpecFile +
            ": Im Abschnitt [Common] fehlt ImportClass, das Importziel. 'kestrel-import check' prüft, ob "
            "dies eine Importspezifikation ist.");
  }
  std::optional<RuntimeError> failure;
  if (!OpenImportClass(&failure)) throw Refuse({"Common", "ImportClass"}, failure->Description());
}

void ImportJob::Steps::TakeStream(std::string& file) {
  if (!IsStream(file)) return;
  if (session_.SaveFile) Tell("Die Quelle ist keine Datei mit eigenem Namen; sie wird nicht gesichert.");
  session_.SaveFile = false;
  session_.DeleteFile = false;
  if (!PipedSource::IsPipe(file)) return;
  piped_source_ = std::make_unique<PipedSource>(file, tell_);
  file = piped_source_->path();
}

void ImportJob::Steps::OpenSource() {
  RequireOpen();
  if (source_open_) return;
  const SourceKind* kind = KindOf(session_);
  if (kind != nullptr && kind->connect == nullptr) {
    std::string& file = session_.*kind->location;
    TakeStream(file);
    if (FolderExists(file)) throw RefuseSource("''" + file + "'' ist ein Ordner und keine " + kind->name + ".");
    if (!FileExists(file)) throw RefuseSource("Die Datei ''" + file + "'' existiert nicht.");
  } else {
    const ConnectResult result = ConnectFromSession(session_);
    if (!result.connected) {
      throw RefuseSource("Die Datenquelle (" + session_.Provider + ") kann nicht geöffnet werden. " +
                         (result.reason.empty() ? "Es fehlen Angaben im Abschnitt [Common]." : result.reason));
    }
  }
  session_.SourceFieldNames = RequireColumns();
  source_open_ = true;
}

ImportRefused ImportJob::Steps::RefuseSource(std::string text) const {
  return Refuse({"Common", LocationKey(session_)}, std::move(text));
}

std::vector<std::string> ImportJob::Steps::RequireColumns() {
  ShownError unreadable;
  std::vector<std::string> names = SourceColumnNames(session_, &unreadable);
  // The reader has told the reason.
  if (unreadable) throw RefuseSource("Die Felder der Datenquelle konnten nicht gelesen werden.");
  return names;
}

std::vector<bool> ImportJob::Steps::AssignFields(std::string* failure) {
  return BuildAssignmentList(session_, Import().logs(), failure);
}

void ImportJob::Steps::BuildFields() {
  if (fields_built_) return;
  AssignFields(&fields_failure_);
  fields_built_ = true;
}

// What the import class said of its fields; asked for once.
ImportClassError ImportJob::Steps::FieldsError() {
  if (!fields_error_) fields_error_ = ReadImportClassError(session_);
  return *fields_error_;
}

std::optional<Finding> ImportJob::Steps::AssignmentFault() {
  if (session_.AssignmentList == nullptr) return std::nullopt;
  return FindAssignmentFault(*session_.AssignmentList);
}

void ImportJob::Steps::Prepare() {
  OpenImportClass();
  OpenSource();
  BuildFields();
  const auto refuse = [](const std::string& reason) {
    return Refuse({"Common", "ImportClass"}, "Die Felder des Ziels konnten nicht gelesen werden. " + reason);
  };
  if (!fields_failure_.empty()) throw refuse(fields_failure_);
  // What the import class delivers all the same is not enough to import by.
  if (const ImportClassError error = FieldsError(); error.code != 0) {
    throw refuse("Fehler " + std::to_string(error.code) + ": " + error.description);
  }
  if (const std::optional<Finding> fault = AssignmentFault()) throw ImportRefused(*fault);
  if (const std::optional<Finding> left_out = FindLeftOutAssignment(session_)) {
    throw ImportRefused(Findings(*left_out));
  }
}

SourceEnd ImportJob::Steps::Preview(std::int64_t most, const PreviewSink& show) {
  OpenSource();
  SourceReader reader(session_);
  reader.OpenSourceRecordset();
  RecordsetPtr source = reader.SourceMoveFirst();
  for (std::int64_t record = 1; record <= most && !reader.SourceEOF() && !reader.end().error; ++record) {
    std::vector<std::string> values(source->ColumnCount());
    Findings unreadable;
    for (std::size_t column = 0; column < values.size(); ++column) {
      Trap([&] { values[column] = source->TextAt(column); },
           [&](const RuntimeError& error) {
             unreadable.Add(UnreadableValue(session_, *source, record, column, error));
           });
    }
    show(values, unreadable);
    source = reader.SourceMoveNext();
  }
  reader.CloseSource();
  return reader.end();
}

RecordsetPtr ImportJob::Steps::OpenPreview(std::int64_t& count) {
  SourceReader reader(session_);
  reader.OpenSourceRecordset();
  RecordsetPtr records = reader.SourceMoveFirst();
  count = reader.SourceRecordCount();
  reader.CloseSource();
  return records;
}

// --- Running ------------------------------------------------------------------------------------

const RunResult& ImportJob::Steps::Run(RunView& view, RunMode mode) {
  RequireIdle();
  Findings findings = Check(CheckDepth::kColumns, std::nullopt);
  if (findings.errors() > 0) throw ImportRefused(std::move(findings));
  return RunDespiteFindings(view, mode);
}

const RunResult& ImportJob::Steps::Run(RunMode mode) {
  UnwatchedRun view(tell_);
  return Run(view, mode);
}

const RunResult& ImportJob::Steps::RunDespiteFindings(RunView& view, RunMode mode) {
  RequireIdle();
  Prepare();
  TellColumnDrift();
  if (!settings_.rejects_file.empty()) Rejects::RequirePlace(settings_.rejects_file, session_);
  ProtectSource(mode);
  session_.TestMode = mode == RunMode::kTest;
  return RunAssigned(view);
}

void ImportJob::Steps::TellColumnDrift() {
  Findings drift = ColumnDrift();
  for (const Finding& finding : drift) {
    if (finding.severity != Severity::kError) Tell(finding.Message());
  }
  if (drift.errors() > 0) throw ImportRefused(std::move(drift));
  Findings missing;
  CheckAssignedColumns(session_, missing);
  for (const Finding& finding : missing) Tell("Feld \"" + finding.place.field + "\": " + finding.Message());
  if (missing.errors() > 0) KeepSource("da ihr zugeordnete Spalten fehlen");
}

void ImportJob::Steps::ProtectSource(RunMode mode) {
  if (mode == RunMode::kTest) session_.SaveFile = session_.DeleteFile = false;
  if (!IsOn(session_, &Session::SaveFile) || session_.SavePath.empty()) return;
  if (!IsMissingFolder(session_.SavePath)) return;
  KeepSource("da sie nicht gesichert werden kann");
}

void ImportJob::Steps::KeepSource(const char* why) {
  if (!IsOn(session_, &Session::DeleteFile)) return;
  session_.DeleteFile = false;
  Tell("Die Quelldatei ''" + session_.*KindOf(session_)->location + "'' wird nicht gelöscht, " + why + ".");
}

const RunResult& ImportJob::Steps::RunAssigned(RunView& view) {
  RequireIdle();
  rejects_.reset();
  ImportRun run(Import(), view, settings_);
  if (stop_requested_) run.RequestAbort();
  {
    // A user interface that raises while it shows an error ends the run; the job can be cancelled all the same.
    const UnderWay under_way(run_, run);
    run.Activate();
  }
  result_ = run.result();
  rejects_ = run.TakeRejects();
  // The run has deleted the working copy.
  working_copy_lock_.Release();
  BeginAnew();
  return result_;
}

void ImportJob::Steps::RequestStop() {
  stop_requested_ = true;
  if (run_ != nullptr) run_->RequestAbort();
}

void ImportJob::Steps::SaveRejects(const std::string& path) const {
  if (rejects_ == nullptr) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Der Import hat keine abgelehnten Datensätze behalten.");
  }
  rejects_->WriteTo(path);
}

const RunResult& ImportJob::Steps::result() const { return run_ == nullptr ? result_ : run_->result(); }

void ImportJob::Steps::Tell(std::string_view text) const {
  if (tell_) tell_(text);
}

// --- The job --------------------------------------------------------------------------------------

ImportJob::ImportJob(const Platform& platform) : steps_(std::make_unique<Steps>(platform)) {}
ImportJob::ImportJob(Session& session) : steps_(std::make_unique<Steps>(session)) {}
ImportJob::~ImportJob() = default;

RunSettings& ImportJob::settings() { return steps_->settings(); }
Session& ImportJob::session() { return steps_->session(); }
void ImportJob::Open(const ImportOrder& order) { steps_->Open(order); }
Findings ImportJob::Check(CheckDepth depth, const std::optional<Finding>& no_host) {
  return steps_->Check(depth, no_host);
}
Findings ImportJob::ColumnDrift() { return steps_->ColumnDrift(); }
void ImportJob::TakeOverColumns(const Findings& drift) { steps_->TakeOverColumns(drift); }

DataProfile ImportJob::CheckData(const std::optional<Finding>& no_host) { return steps_->CheckData(no_host); }
SourceEnd ImportJob::Preview(std::int64_t most, const PreviewSink& show) { return steps_->Preview(most, show); }
void ImportJob::Prepare() { steps_->Prepare(); }
const RunResult& ImportJob::Run(RunView& view, RunMode mode) { return steps_->Run(view, mode); }
const RunResult& ImportJob::Run(RunMode mode) { return steps_->Run(mode); }
const RunResult& ImportJob::RunDespiteFindings(RunView& view, RunMode mode) {
  return steps_->RunDespiteFindings(view, mode);
}

void ImportJob::Choose(const std::string& path) { steps_->Choose(path); }
void ImportJob::OpenImportClass() { steps_->OpenImportClass(); }
bool ImportJob::OpenImportClass(std::optional<RuntimeError>* failure) {
  return steps_->OpenImportClass(failure);
}
SourceOpening ImportJob::BeginConnect(const SourceKind& kind, const SourceInputs& inputs,
                                      const ListLoadedFlags& loaded) {
  return steps_->BeginConnect(kind, inputs, loaded);
}
ConnectResult ImportJob::FinishConnect(const SourceKind& kind, OpenedSource opened, ListLoadedFlags& loaded) {
  return steps_->FinishConnect(kind, std::move(opened), loaded);
}
std::vector<std::string> ImportJob::SourceColumns() { return steps_->SourceColumns(); }
RecordsetPtr ImportJob::OpenPreview(std::int64_t& count) { return steps_->OpenPreview(count); }
void ImportJob::OpenSource() { steps_->OpenSource(); }
void ImportJob::SaveSchema(bool Commit) { steps_->SaveSchema(Commit); }
std::vector<bool> ImportJob::AssignFields(std::string* failure) { return steps_->AssignFields(failure); }
std::optional<Finding> ImportJob::AssignmentFault() { return steps_->AssignmentFault(); }
const RunResult& ImportJob::RunAssigned(RunView& view) { return steps_->RunAssigned(view); }

void ImportJob::RequestStop() { steps_->RequestStop(); }
const RunResult& ImportJob::result() const { return steps_->result(); }
void ImportJob::SaveRejects(const std::string& path) const { steps_->SaveRejects(path); }
void ImportJob::Cancel() { steps_->Cancel(); }

}  // namespace kestrel
