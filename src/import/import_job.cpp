// Invariants
//  1. What is open belongs to one import: a working copy (open), then the import class, the source and the
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
#include "import/import_job_state.h"
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

// What becomes of the source is decided for one run: at the end of the scope it is again as it was.
class SourceWishes {
 public:
  explicit SourceWishes(Session& session)
      : session_(session), saves_(session.SaveFile), deletes_(session.DeleteFile) {}
  SourceWishes(const SourceWishes&) = delete;
  SourceWishes& operator=(const SourceWishes&) = delete;
  ~SourceWishes() {
    session_.SaveFile = saves_;
    session_.DeleteFile = deletes_;
  }

 private:
  Session& session_;
  bool saves_;
  bool deletes_;
};

bool IsMissingFolder(const std::string& path) {
  // One that cannot be looked at is an error of the run, which keeps the source as well.
  std::error_code unknown;
  const auto kind = std::filesystem::status(path, unknown).type();
  return kind != std::filesystem::file_type::none && kind != std::filesystem::file_type::directory;
}

}  // namespace

struct ImportJob::State::OwnSession {
  explicit OwnSession(const Platform& platform)
      : ui(platform.ui), session({ui, platform.components, platform.clock, platform.source_kinds}) {}

  MutedUserInterface ui;
  Session session;
};

ImportJob::State::State(const Platform& platform)
    : own(std::make_unique<OwnSession>(platform)), session(own->session) {}
ImportJob::State::State(Session& of_pages) : session(of_pages) {}
ImportJob::State::~State() = default;

ImportJob::ImportJob(const Platform& platform) : state_(std::make_unique<State>(platform)) {}
ImportJob::ImportJob(Session& session) : state_(std::make_unique<State>(session)) {}
ImportJob::~ImportJob() {
  if (state_->own != nullptr) Cancel();
}

RunSettings& ImportJob::settings() { return state_->settings; }
Session& ImportJob::session() { return state_->session; }

// --- Opening ------------------------------------------------------------------------------------

void ImportJob::Open(const ImportOrder& order) {
  state_->RequireIdle();
  Cancel();
  state_->tell = order.tell;
  if (order.host_connection != nullptr) session().HostConnection = order.host_connection;
  if (!order.user.empty()) session().PersonalNr = order.user;
  const std::string path =
      FindSpecification(order.folder.empty() ? DefaultSpecFolder() : order.folder, order.specification);
  session().SpecFile = path;
  ReadCommonSection(session());
  state_->LoadApplication(order, path);
  session().SpecFolder = order.working_folder.empty() ? ParentFolder(path) : order.working_folder;
  CreateWorkingCopy(session(), state_->working_copy_lock);
  state_->open = true;
  session().ImportFileName = order.source_file == "-" ? "/dev/stdin" : order.source_file;
  const SourceKind* const stored_kind = KindOf(session());
  ApplyImportFileName(session(), FileEndings::kAll);
  if (KindOf(session()) != stored_kind) UseHandedInText(session());
  state_->ResolveSourcePaths();
}

void ImportJob::State::LoadApplication(const ImportOrder& order, const std::string& path) {
  if (order.app_mode) {
    session.AppMode = *order.app_mode;
    return;
  }
  const std::string application = GetIniString(path, "Common", "Application", "2");
  const auto app_mode = ParseWholeNumber(application);
  if (!app_mode || *app_mode < INT16_MIN || *app_mode > INT16_MAX) {
    throw Refuse({"Common", "Application"},
                 path + ": [Common] Application='" + application + "' ist keine Nummer einer Anwendung.");
  }
  session.AppMode = static_cast<std::int16_t>(*app_mode);
}

void ImportJob::State::ResolveSourcePaths() {
  const auto resolve = [&](std::string& path) {
    if (path.empty() || path.front() == '/' || FileExists(path) || FolderExists(path)) return;
    const std::string beside = JoinPath(ParentFolder(session.ChosenSpecFile), path);
    if (FileExists(beside) || FolderExists(beside)) path = beside;
  };
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || kind->place == SourcePlace::kServer) return;
  resolve(session.*kind->location);
  if (kind->Has(&Session::SavePath)) resolve(session.SavePath);
}

void ImportJob::Choose(const std::string& path) {
  state_->RequireIdle();
  Cancel();
  session().SpecFile = path;
  ReadCommonSection(session());
  CreateWorkingCopy(session(), state_->working_copy_lock);
  state_->open = true;
}

void ImportJob::SaveSchema(bool Commit) { kestrel::SaveSchema(session(), state_->working_copy_lock, Commit); }

bool ImportJob::SaveSchemaAs() { return kestrel::SaveSchemaAs(session(), state_->working_copy_lock); }

void ImportJob::Cancel() {
  if (state_->run != nullptr) return RequestStop();
  // In a session of the pages an earlier import may have left its own.
  const bool has_copy = state_->open || state_->own == nullptr;
  state_->BeginAnew();
  if (has_copy) DeleteWorkingCopy(session());
  state_->working_copy_lock.Release();
}

// The pages may find an import class in their session that was not created by this job.
ActiveImport& ImportJob::State::Import() {
  if (import == nullptr) import = std::make_unique<ActiveImport>(session);
  return *import;
}

void ImportJob::State::BeginAnew() {
  import.reset();
  // No page is there that would take it out of the session, from where it would be written into the next specification.
  if (owns_list) session.AssignmentList.reset();
  owns_list = false;
  tested_list.reset();
  CloseSteps();
  open = stop_requested = false;
  piped_source.reset();
}

void ImportJob::State::CloseSteps() {
  class_open = source_open = fields_built = false;
  fields_failure.clear();
  fields_error.reset();
}

std::optional<MutedUserInterface::Mute> ImportJob::State::MuteBoxes() {
  if (own == nullptr) return std::nullopt;
  return std::optional<MutedUserInterface::Mute>(std::in_place, own->ui);
}

void ImportJob::State::RequireIdle() const {
  if (run != nullptr) throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Der Import läuft bereits.");
}

void ImportJob::State::RequireOpen() const {
  if (!open)
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Es ist keine Importspezifikation geöffnet.");
}

// --- Import class, source, assignments ----------------------------------------------------------

bool ImportJob::OpenImportClass(std::optional<RuntimeError>* failure) {
  // The import class goes before the logs of its import.
  session().ImportClass.reset();
  state_->import.reset();
  state_->import = std::make_unique<ActiveImport>(session());
  state_->class_open = CreateImportClass(session(), failure);
  return state_->class_open;
}

void ImportJob::OpenImportClass() {
  state_->RequireOpen();
  if (state_->class_open) return;
  if (session().ImportClassProgID.empty()) {
    throw Refuse(
        {"Common", "ImportClass"},
        session().ChosenSpecFile +
            ": Im Abschnitt [Common] fehlt ImportClass, das Importziel. 'kestrel-import check' prüft, ob "
            "dies eine Importspezifikation ist.");
  }
  std::optional<RuntimeError> failure;
  if (!OpenImportClass(&failure)) throw Refuse({"Common", "ImportClass"}, failure->Description());
}

void ImportJob::State::TakeStream(std::string& file) {
  if (!IsStream(file)) return;
  if (session.SaveFile) Tell("Die Quelle ist keine Datei mit eigenem Namen; sie wird nicht gesichert.");
  session.SaveFile = false;
  session.DeleteFile = false;
  if (!PipedSource::IsPipe(file)) return;
  piped_source = std::make_unique<PipedSource>(file, tell);
  file = piped_source->path();
}

void ImportJob::OpenSource() {
  state_->RequireOpen();
  if (state_->source_open) return;
  const SourceKind* kind = KindOf(session());
  if (kind != nullptr && kind->connect == nullptr) {
    std::string& file = session().*kind->location;
    state_->TakeStream(file);
    if (FolderExists(file))
      throw state_->RefuseSource("''" + file + "'' ist ein Ordner und keine " + kind->name + ".");
    if (!FileExists(file)) throw state_->RefuseSource("Die Datei ''" + file + "'' existiert nicht.");
  } else {
    const ConnectResult result = ConnectFromSession(session());
    if (!result.connected) {
      throw state_->RefuseSource(
          "Die Datenquelle (" + session().Provider + ") kann nicht geöffnet werden. " +
          (result.reason.empty() ? "Es fehlen Angaben im Abschnitt [Common]." : result.reason));
    }
  }
  session().SourceFieldNames = state_->RequireColumns();
  state_->source_open = true;
}

ImportRefused ImportJob::State::RefuseSource(std::string text) const {
  return Refuse({"Common", LocationKey(session)}, std::move(text));
}

std::vector<std::string> ImportJob::State::ColumnNames(ShownError* failure) {
  return asked_columns == nullptr ? SourceColumnNames(session, failure)
                                  : ToldColumnNames(session, *asked_columns, failure);
}

std::vector<std::string> ImportJob::State::RequireColumns() {
  ShownError unreadable;
  std::vector<std::string> names = ColumnNames(&unreadable);
  // The reader has told the reason.
  if (unreadable) throw RefuseSource("Die Felder der Datenquelle konnten nicht gelesen werden.");
  return names;
}

std::vector<bool> ImportJob::AssignFields(std::string* failure) {
  return BuildAssignmentList(session(), state_->Import().logs(), failure);
}

void ImportJob::State::BuildFields(ImportJob& job) {
  if (fields_built) return;
  // What fails is told by whoever asked for the fields.
  const auto mute = MuteBoxes();
  job.AssignFields(&fields_failure);
  if (tested_list != nullptr) session.AssignmentList = tested_list;
  fields_built = true;
}

// What the import class said of its fields; asked for once.
ImportClassError ImportJob::State::FieldsError() {
  if (!fields_error) fields_error = ReadImportClassError(session);
  return *fields_error;
}

std::optional<Finding> ImportJob::AssignmentFault() {
  if (session().AssignmentList == nullptr) return std::nullopt;
  return FindAssignmentFault(*session().AssignmentList);
}

void ImportJob::Prepare() {
  OpenImportClass();
  OpenSource();
  state_->BuildFields(*this);
  const auto refuse = [](const std::string& reason) {
    return Refuse({"Common", "ImportClass"}, "Die Felder des Ziels konnten nicht gelesen werden. " + reason);
  };
  if (!state_->fields_failure.empty()) throw refuse(state_->fields_failure);
  // What the import class delivers all the same is not enough to import by.
  if (const ImportClassError error = state_->FieldsError(); error.code != 0) {
    throw refuse("Fehler " + std::to_string(error.code) + ": " + error.description);
  }
  if (const std::optional<Finding> fault = AssignmentFault()) {
    const std::optional<Finding> empty_file = FindEmptyFile(session());
    if (!empty_file) throw ImportRefused(*fault);
    Findings both(*empty_file);
    both.Add(*fault);
    throw ImportRefused(std::move(both));
  }
  if (const std::optional<Finding> left_out = FindLeftOutAssignment(session())) {
    throw ImportRefused(Findings(*left_out));
  }
}

SourceEnd ImportJob::Preview(std::int64_t most, const PreviewSink& show) {
  OpenSource();
  SourceReader reader(session());
  reader.OpenSourceRecordset();
  RecordsetPtr source = reader.SourceMoveFirst();
  for (std::int64_t record = 1; record <= most && !reader.SourceEOF() && !reader.end().error; ++record) {
    std::vector<std::string> values(source->ColumnCount());
    Findings unreadable;
    for (std::size_t column = 0; column < values.size(); ++column) {
      Trap([&] { values[column] = source->TextAt(column); },
           [&](const RuntimeError& error) {
             unreadable.Add(UnreadableValue(session(), *source, record, column, error));
           });
    }
    show(values, unreadable);
    source = reader.SourceMoveNext();
  }
  reader.CloseSource();
  return reader.end();
}

SourceOpening ImportJob::BeginConnect(const SourceKind& kind, const SourceInputs& inputs,
                                      const ListLoadedFlags& loaded) {
  return kestrel::BeginConnect(session(), kind, inputs, loaded);
}

ConnectResult ImportJob::FinishConnect(const SourceKind& kind, OpenedSource opened, ListLoadedFlags& loaded) {
  return kestrel::FinishConnect(session(), kind, std::move(opened), loaded);
}

std::vector<std::string> ImportJob::SourceColumns() { return state_->ColumnNames(nullptr); }

void ImportJob::UseColumns(std::shared_ptr<const AskedColumns> asked) {
  state_->asked_columns = std::move(asked);
}

RecordsetPtr ImportJob::OpenPreview(std::int64_t& count) {
  SourceReader reader(session());
  reader.OpenSourceRecordset();
  RecordsetPtr records = reader.SourceMoveFirst();
  count = reader.SourceRecordCount();
  reader.CloseSource();
  return records;
}

// --- Running ------------------------------------------------------------------------------------

const RunResult& ImportJob::Run(RunView& view, RunMode mode) {
  state_->RequireIdle();
  Findings findings = Check(CheckDepth::kColumns, std::nullopt);
  if (findings.errors() > 0) throw ImportRefused(std::move(findings));
  return RunDespiteFindings(view, mode);
}

const RunResult& ImportJob::Run(RunMode mode) {
  UnwatchedRun view(state_->tell);
  return Run(view, mode);
}

const RunResult& ImportJob::RunDespiteFindings(RunView& view, RunMode mode) {
  state_->RequireIdle();
  Prepare();
  const SourceWishes wishes(session());
  if (const std::optional<Finding> empty_file = FindEmptyFile(session())) state_->Tell(empty_file->Message());
  state_->TellColumnDrift(*this);
  if (!settings().rejects_file.empty()) Rejects::RequirePlace(settings().rejects_file, session());
  state_->ProtectSource(mode);
  session().TestMode = mode == RunMode::kTest;
  return RunAssigned(view);
}

void ImportJob::State::TellColumnDrift(ImportJob& job) {
  Findings drift = job.ColumnDrift();
  for (const Finding& finding : drift) {
    if (finding.severity != Severity::kError) Tell(finding.Message());
  }
  if (drift.errors() > 0) throw ImportRefused(std::move(drift));
  Findings missing;
  CheckAssignedColumns(session, missing);
  for (const Finding& finding : missing) Tell("Feld \"" + finding.place.field + "\": " + finding.Message());
  if (missing.errors() > 0) KeepSource("da ihr zugeordnete Spalten fehlen");
}

void ImportJob::State::ProtectSource(RunMode mode) {
  if (mode == RunMode::kTest) session.SaveFile = session.DeleteFile = false;
  if (!IsOn(session, &Session::SaveFile) || session.SavePath.empty()) return;
  if (!IsMissingFolder(session.SavePath)) return;
  KeepSource("da sie nicht gesichert werden kann");
}

void ImportJob::State::KeepSource(const char* why) {
  if (!IsOn(session, &Session::DeleteFile)) return;
  session.DeleteFile = false;
  Tell("Die Quelldatei ''" + session.*KindOf(session)->location + "'' wird nicht gelöscht, " + why + ".");
}

const RunResult& ImportJob::RunAssigned(RunView& view) {
  state_->RequireIdle();
  state_->rejects.reset();
  // What a run leaves half done is not offered once more.
  state_->tested_list.reset();
  RunSettings settings = state_->settings;
  settings.stays_open &= session().TestMode;
  ImportRun run(state_->Import(), view, settings);
  if (state_->stop_requested) run.RequestAbort();
  {
    // A user interface that raises while it shows an error ends the run; the job can be cancelled all the same.
    const UnderWay under_way(state_->run, run);
    const SourceWishes wishes(session());
    if (settings.harmless_test && session().TestMode) session().SaveFile = session().DeleteFile = false;
    run.Activate();
  }
  state_->result = run.result();
  state_->rejects = run.TakeRejects();
  if (!settings.stays_open) {
    // The run has deleted the working copy.
    state_->working_copy_lock.Release();
    state_->BeginAnew();
  } else if (state_->result.cancelled) {
    Cancel();
  } else {
    state_->StayOpen();
  }
  return state_->result;
}

void ImportJob::State::StayOpen() {
  import.reset();
  CloseSteps();
  stop_requested = false;
  tested_list = session.AssignmentList;
  owns_list = true;
}

bool ImportJob::OpenTestedAgain() {
  const std::shared_ptr<MemoryRecordset> list = state_->tested_list;
  if (list == nullptr) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  std::optional<RuntimeError> failure;
  if (!OpenImportClass(&failure)) return false;
  // The class is asked for its fields, as before every import; how they are assigned stands in the list.
  AssignFields(nullptr);
  session().AssignmentList = list;
  return true;
}

bool ImportJob::IsTestedOpen() const { return state_->tested_list != nullptr; }

void ImportJob::RequestStop() {
  state_->stop_requested = true;
  if (state_->run != nullptr) state_->run->RequestAbort();
}

void ImportJob::SaveRejects(const std::string& path) const {
  if (state_->rejects == nullptr) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Der Import hat keine abgelehnten Datensätze behalten.");
  }
  state_->rejects->WriteTo(path);
}

const RunResult& ImportJob::result() const {
  return state_->run == nullptr ? state_->result : state_->run->result();
}

void ImportJob::State::Tell(std::string_view text) const {
  if (tell) tell(text);
}

}  // namespace kestrel
