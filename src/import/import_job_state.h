// What an ImportJob has open.
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
struct __attribute__((visibility("hidden"))) ImportJob::State {
  struct OwnSession;

  // With a session of the job's own, or in one of the pages.
  explicit State(const Platform& platform);
  explicit State(Session& of_pages);
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State();

  void BeginAnew();
  // Has the next Prepare take all of its steps.
  void CloseSteps();
  // Behind a test run that was not cancelled, for the import with the same settings.
  void StayOpen();
  ActiveImport& Import();
  void RequireIdle() const;
  void RequireOpen() const;
  void LoadApplication(const ImportOrder& order, const std::string& path);
  // Source paths that are relative and do not exist from here are meant from the specification's folder.
  void ResolveSourcePaths();
  // A source that is no file with a place of its own is neither saved nor removed; a pipe is read to its end,
  // and `file` is what was read.
  void TakeStream(std::string& file);
  void BuildFields(ImportJob& job);
  ImportClassError FieldsError();
  void CheckSource(ImportJob& job, CheckDepth depth, Findings& findings);
  void CheckDestination(ImportJob& job, const ProfileImage& specification,
                        const std::optional<Finding>& no_host, Findings& findings);
  std::optional<MutedUserInterface::Mute> MuteBoxes();
  ImportRefused RefuseSource(std::string text) const;
  std::vector<std::string> ColumnNames(ShownError* failure);
  std::vector<std::string> RequireColumns();
  // Refuses an import of which an assigned column has gone since the specification was saved; one that was never
  // remembered is told, and keeps the source.
  void TellColumnDrift(ImportJob& job);
  void KeepSource(const char* why);
  // A test leaves the source as it is; and what cannot be saved is not removed.
  void ProtectSource(RunMode mode);
  void Tell(std::string_view text) const;

  std::unique_ptr<OwnSession> own;
  Session& session;
  std::function<void(std::string_view)> tell;
  WorkingCopyLock working_copy_lock;
  std::unique_ptr<PipedSource> piped_source;
  std::unique_ptr<ActiveImport> import;  // from OpenImportClass on
  bool open = false;
  bool class_open = false;
  bool source_open = false;
  bool fields_built = false;
  bool stop_requested = false;
  std::string fields_failure;
  std::optional<ImportClassError> fields_error;
  ImportRun* run = nullptr;  // while one is under way
  std::shared_ptr<MemoryRecordset>
      tested_list;         // the assignments of a test run that stayed open, until a run begins
  bool owns_list = false;  // those of the session are the job's, and no page's
  RunSettings settings;
  std::shared_ptr<const AskedColumns> asked_columns;  // null: the source is asked
  std::unique_ptr<Rejects> rejects;                   // of the last run
  RunResult result;
};

}  // namespace kestrel
