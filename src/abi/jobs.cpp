// Imports: opened, checked, looked at and run.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "abi/library.h"
#include "abi/run_watch.h"
#include "abi/spec_folder.h"
#include "abi/text_rows.h"
#include "component/session.h"
#include "kestrel/connection.h"
#include "kestrel/import_job.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"

namespace kestrel::abi {

namespace {

class Job final : public Object {
 public:
  explicit Job(const Platform& platform) : import(platform) {}

  ImportJob import;

  // A call that works with the import; callbacks of it come back only to stop it.
  class Use {
   public:
    explicit Use(std::shared_ptr<Job> job, bool is_run = false) : job_(std::move(job)) {
      if (std::exchange(job_->is_in_use_, true)) RaiseInUse();
      job_->is_running_ = is_run;
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() { job_->is_in_use_ = job_->is_running_ = false; }
    ImportJob* operator->() const { return &job_->import; }
    ImportJob& operator*() const { return job_->import; }

   private:
    // Kept, as a callback may give back the last handle.
    const std::shared_ptr<Job> job_;
  };

  bool is_in_use() const { return is_in_use_; }
  bool is_running() const { return is_running_; }
  [[noreturn]] static void RaiseInUse() {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Der Import ist gerade in einem anderen Aufruf. Warten Sie dessen Ende ab.");
  }

  // It is used by its functions, not by member name.
  std::optional<MemberId> FindMember(std::string_view) const override { return std::nullopt; }
  Value Invoke(MemberId, CallKind, std::span<Argument>) override { return LacksMember(); }

 private:
  bool is_in_use_ = false;
  bool is_running_ = false;
};

std::shared_ptr<Job> RequireJob(const Library& library, kestrel_handle handle) {
  return library.RequireKind<Job>(handle, "Import");
}

const char* NameOf(Severity severity) {
  switch (severity) {
    case Severity::kError: return "error";
    case Severity::kWarning: return "warning";
    case Severity::kNote: return "note";
  }
  return "";
}

std::shared_ptr<MemoryRecordset> RowsOf(const Findings& findings) {
  TextRows rows({"Severity", "Section", "Key", "Field", "Text", "WayOut", "Count", "Replacement"});
  for (const Finding& finding : findings) {
    rows.Add({NameOf(finding.severity), finding.place.section, finding.place.key, finding.place.field,
              finding.text, finding.way_out, std::to_string(finding.count), finding.replacement});
  }
  return rows.Take();
}

ImportOrder OrderOf(const Library& library, const kestrel_order& given) {
  ImportOrder order{.specification = ToString(given.specification, "specification"),
                    .folder = SpecFolder(library, given.folder),
                    .source_file = ToString(given.source_file, "source_file"),
                    .working_folder = ToString(given.working_folder, "working_folder"),
                    .user = ToString(given.user, "user")};
  if (given.host_connection != 0)
    order.host_connection = library.RequireKind<Connection>(given.host_connection, "Verbindung");
  if (order.user.empty()) order.user = library.user;
  if (given.has_application != 0) {
    if (given.application < INT16_MIN || given.application > INT16_MAX)
      RaiseArgument("'application' ist keine Nummer einer Anwendung.");
    order.app_mode = static_cast<std::int16_t>(given.application);
  }
  if (given.tell != nullptr) {
    order.tell = [tell = given.tell, context = given.context](std::string_view text) {
      tell(context, ToText(text));
    };
  }
  return order;
}

RunSettings SettingsOf(const kestrel_run_settings& given) {
  if (given.from < 0 || given.most_errors < 0 || given.most_same_errors < 0)
    RaiseArgument("'settings' hat eine Zahl unter 0.");
  return {.from = given.from == 0 ? 1 : given.from,
          .most_errors = given.most_errors,
          .most_same_errors = given.most_same_errors,
          .keep_rejects = given.keep_rejects != 0,
          .rejects_file = ToString(given.rejects_file, "rejects_file")};
}

std::int32_t NumberOf(SourceState state) {
  switch (state) {
    case SourceState::kClosed: return KESTREL_SOURCE_CLOSED;
    case SourceState::kNotOpened: return KESTREL_SOURCE_NOT_OPENED;
    case SourceState::kOpen: return KESTREL_SOURCE_OPEN;
    case SourceState::kAtEnd: return KESTREL_SOURCE_AT_END;
    case SourceState::kBrokenOff: return KESTREL_SOURCE_BROKEN_OFF;
  }
  return KESTREL_SOURCE_CLOSED;
}

// Its texts are the library's to hand out, as the job may go or run again.
kestrel_run_result ResultOf(Library& library, const RunResult& result) {
  kestrel_run_result told{};
  told.read = result.records;
  told.stored_new = result.figures.stored_new();
  told.updated = result.figures.updated();
  told.held_back = result.figures.held_back();
  told.rejected = result.rejected;
  told.checked = result.checked;
  told.errors = result.cancelled ? 0 : result.errors;
  told.cut_values = result.figures.cut_values();
  told.total = result.total;
  told.skipped = result.skipped;
  told.unlogged = result.unlogged_count;
  told.rejects = result.rejects;
  told.next_record = result.next_record;
  told.stopped = result.aborted ? 1 : 0;
  told.cancelled = result.cancelled ? 1 : 0;
  told.source_state = NumberOf(result.source_end.state);
  told.message = library.HandOutText(result.message);
  told.source_error =
      library.HandOutText(result.source_end.error ? result.source_end.error->Description() : std::string());
  told.stop_reason = library.HandOutText(result.stop_reason);
  told.source_kept = library.HandOutText(result.source_kept);
  told.rejects_error = library.HandOutText(result.rejects_error);
  // A ledger may number its runs in another way, which kestrel_undo does not take.
  Trap([&] { told.run_number = Value(result.run_number).ToInteger(); }, [](const RuntimeError&) {});
  return told;
}

std::vector<std::string> ColumnsOf(ImportJob& job) {
  job.OpenSource();
  std::vector<std::string> names = job.session().SourceFieldNames;
  // The element that is always behind them.
  if (!names.empty()) names.pop_back();
  return names;
}

struct PreviewRows {
  std::shared_ptr<MemoryRecordset> rows = std::make_shared<MemoryRecordset>();
  Findings unreadable;
};

PreviewRows PreviewOf(ImportJob& job, std::int64_t most) {
  PreviewRows preview;
  const std::vector<std::string> names = ColumnsOf(job);
  for (const std::string& name : names) preview.rows->AppendColumn(name);
  const SourceEnd end =
      job.Preview(most, [&](const std::vector<std::string>& values, const Findings& unreadable) {
        preview.rows->AddNew();
        const std::size_t count = std::min(values.size(), names.size());
        for (std::size_t column = 0; column < count; ++column) preview.rows->SetText(column, values[column]);
        for (const Finding& finding : unreadable) preview.unreadable.Add(finding);
      });
  if (end.error) throw RuntimeError(*end.error);
  preview.rows->MoveFirst();
  return preview;
}

const RunResult& Run(ImportJob& job, const kestrel_run_settings& settings, const kestrel_run_view& view,
                     StopRequest& stop) {
  job.settings() = SettingsOf(settings);
  RunWatch watch(job, view, stop);
  const RunMode mode = settings.test != 0 ? RunMode::kTest : RunMode::kImport;
  return settings.despite_findings != 0 ? job.RunDespiteFindings(watch, mode) : job.Run(watch, mode);
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_job_create(kestrel_library* library, kestrel_handle* job) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(job, "job");
    target = open.handles.Add(
        std::make_shared<Job>(kestrel::Platform{open.ui, open.components, open.clock, &open.source_kinds}));
  });
}

int32_t kestrel_job_open(kestrel_library* library, kestrel_handle job, const kestrel_order* order) {
  return Guarded(library, [&](Library& open) {
    const Job::Use opened(RequireJob(open, job));
    opened->Open(OrderOf(open, Read(order, "order")));
  });
}

int32_t kestrel_job_check(kestrel_library* library, kestrel_handle job, int32_t depth,
                          kestrel_handle* findings) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(findings, "findings");
    const Job::Use checked(RequireJob(open, job));
    const auto looked =
        depth == KESTREL_CHECK_BEGINNING ? kestrel::CheckDepth::kColumns : kestrel::CheckDepth::kRecords;
    target = open.handles.Add(
        RowsOf(depth == KESTREL_CHECK_VALUES ? checked->CheckData().findings : checked->Check(looked)));
  });
}

int32_t kestrel_refusal(kestrel_library* library, kestrel_handle* findings) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(findings, "findings");
    target = open.handles.Add(RowsOf(open.refusal()));
  });
}

int32_t kestrel_job_columns(kestrel_library* library, kestrel_handle job, kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    const Job::Use used(RequireJob(open, job));
    TextRows rows({"Name"});
    for (const std::string& name : ColumnsOf(*used)) rows.Add({name});
    target = open.handles.Add(rows.Take());
  });
}

int32_t kestrel_job_preview(kestrel_library* library, kestrel_handle job, int64_t most,
                            kestrel_handle* recordset, kestrel_handle* unreadable) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    const Job::Use shown(RequireJob(open, job));
    const PreviewRows preview = PreviewOf(*shown, most);
    target = open.handles.Add(preview.rows);
    if (unreadable != nullptr) *unreadable = open.handles.Add(RowsOf(preview.unreadable));
  });
}

int32_t kestrel_job_run(kestrel_library* library, kestrel_handle job, const kestrel_run_settings* settings,
                        const kestrel_run_view* view, kestrel_run_result* result) {
  return Guarded(library, [&](Library& open) {
    // Told before anything is stored.
    if (result != nullptr) RequireSize(result, "result");
    const Job::Use run(RequireJob(open, job), /*is_run=*/true);
    kestrel::sqlite::RequireNoOwnersTransaction(run->session().HostConnection);
    const kestrel::RunResult& told =
        Run(*run, settings == nullptr ? kestrel_run_settings{} : Read(settings, "settings"),
            view == nullptr ? kestrel_run_view{} : Read(view, "view"), open.stop);
    if (result != nullptr) Fill(result, ResultOf(open, told), "result");
  });
}

int32_t kestrel_job_stop(kestrel_library* library, kestrel_handle job) {
  return Guarded(library, [&](Library& open) { RequireJob(open, job)->import.RequestStop(); });
}

int32_t kestrel_job_save_rejects(kestrel_library* library, kestrel_handle job, kestrel_text path) {
  return Guarded(library, [&](Library& open) {
    const Job::Use saved(RequireJob(open, job));
    saved->SaveRejects(ToString(path, "path"));
  });
}

int32_t kestrel_job_cancel(kestrel_library* library, kestrel_handle job) {
  return Guarded(library, [&](Library& open) {
    const auto ended = RequireJob(open, job);
    if (ended->is_running()) return ended->import.RequestStop();
    if (ended->is_in_use()) Job::RaiseInUse();
    ended->import.Cancel();
  });
}
