// What an ImportJob has open, and how it takes each step; its members are told in kestrel/import_job.h.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "component/import_class.h"
#include "component/session.h"
#include "import/active_import.h"
#include "import/import_run.h"
#include "kestrel/import_job.h"
#include "platform/dialogs/muted_user_interface.h"
#include "sources/piped_source.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"
#include "spec/working_copy.h"

namespace kestrel {

// Hidden, though its job is public.
class __attribute__((visibility("hidden"))) ImportJob::Steps {
 public:
  explicit Steps(const Platform& platform);
  explicit Steps(Session& session);
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;
  ~Steps();

  Session& session() { return session_; }
  RunSettings& settings() { return settings_; }
  void Open(const ImportOrder& order);
  Findings Check(CheckDepth depth, const std::optional<Finding>& no_host);
  DataProfile CheckData(const std::optional<Finding>& no_host);
  Findings ColumnDrift();
  void TakeOverColumns(const Findings& drift);
  SourceEnd Preview(std::int64_t most, const PreviewSink& show);
  void Prepare();
  const RunResult& Run(RunView& view, RunMode mode);
  const RunResult& Run(RunMode mode);
  const RunResult& RunDespiteFindings(RunView& view, RunMode mode);

  void Choose(const std::string& path);
  void OpenImportClass();
  bool OpenImportClass(std::optional<RuntimeError>* failure);
  SourceOpening BeginConnect(const SourceKind& kind, const SourceInputs& inputs,
                             const ListLoadedFlags& loaded) {
    return kestrel::BeginConnect(session_, kind, inputs, loaded);
  }
  ConnectResult FinishConnect(const SourceKind& kind, OpenedSource opened, ListLoadedFlags& loaded) {
    return kestrel::FinishConnect(session_, kind, std::move(opened), loaded);
  }
  std::vector<std::string> SourceColumns() { return SourceColumnNames(session_); }
  RecordsetPtr OpenPreview(std::int64_t& count);
  void OpenSource();
  void SaveSchema(bool Commit);
  std::vector<bool> AssignFields(std::string* failure);
  std::optional<Finding> AssignmentFault();
  const RunResult& RunAssigned(RunView& view);

  void RequestStop();
  const RunResult& result() const;
  void SaveRejects(const std::string& path) const;
  void Cancel();

 private:
  struct OwnSession;

  void BeginAnew();
  ActiveImport& Import();
  void RequireIdle() const;
  void RequireOpen() const;
  void LoadApplication(const ImportOrder& order, const std::string& path);
  // Source paths that are relative and do not exist from here are meant from the specification's folder.
  void ResolveSourcePaths();
  // A source that is no file with a place of its own is neither saved nor removed; a pipe is read to its end,
  // and `file` is what was read.
  void TakeStream(std::string& file);
  void BuildFields();
  ImportClassError FieldsError();
  void CheckSource(CheckDepth depth, Findings& findings);
  void CheckDestination(const ProfileImage& specification, const std::optional<Finding>& no_host,
                        Findings& findings);
  std::optional<MutedUserInterface::Mute> MuteBoxes();
  ImportRefused RefuseSource(std::string text) const;
  std::vector<std::string> RequireColumns();
  // Refuses an import of which an assigned column has gone since the specification was saved; one that was never
  // remembered is told, and keeps the source.
  void TellColumnDrift();
  void KeepSource(const char* why);
  // A test leaves the source as it is; and what cannot be saved is not removed.
  void ProtectSource(RunMode mode);
  void Tell(std::string_view text) const;

  std::unique_ptr<OwnSession> own_;
  Session& session_;
  std::function<void(std::string_view)> tell_;
  WorkingCopyLock working_copy_lock_;
  std::unique_ptr<PipedSource> piped_source_;
  std::unique_ptr<ActiveImport> import_;  // from OpenImportClass on
  bool open_ = false;
  bool class_open_ = false;
  bool source_open_ = false;
  bool fields_built_ = false;
  bool stop_requested_ = false;
  std::string fields_failure_;
  std::optional<ImportClassError> fields_error_;
  ImportRun* run_ = nullptr;  // while one is under way
  RunSettings settings_;
  std::unique_ptr<Rejects> rejects_;  // of the last run
  RunResult result_;
};

}  // namespace kestrel
