// ImportJob: the one way to run an import, for whoever does not want to know its protocol.
//
//   kestrel::ComponentRegistry components;        // where the import class is found
//   components.AddDefaultFolders();
//   kestrel::ConsoleUserInterface ui(std::cerr);  // who is told and asked
//   kestrel::SystemClock clock;
//   kestrel::ImportJob job({ui, components, clock});
//   job.Open({.specification = "kunden.IMP", .host_connection = connection, .user = "4711"});
//   const kestrel::RunResult result = job.Run();
//
// A job opens an import specification, tells what is wrong with it (Check), shows records of the source
// (Preview) and runs the import (Run). It owns the working copy, the session, the import class, the assignment
// list and the checks before a run. What keeps an import from beginning is raised as ImportRefused with its
// findings; nothing was imported then. Once a run has begun nothing is raised: what fails is counted and stands
// in its result. Only what the user interface itself raises while it shows an error passes on, and ends the run.
//
// The wizard takes the same steps page by page, in the session of its host (the second constructor): each has a
// member of its own below. A job does whatever step is still missing, in the order in which they are listed,
// and each of them once.
//
// Several jobs: one object opens one specification after the other; Open ends what was open. Each job has a
// session of its own, as each ImportMan has, so jobs can be open at the same time, also while a page of the
// wizard is: each has its own working copy, import class and logs. They share what the host gives them
// (connection, components).
//
// Texts are UTF-8. A job belongs to one thread, that of the user interface where there is one.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/console_user_interface.h"
#include "kestrel/data_profile.h"
#include "kestrel/export.h"
#include "kestrel/finding.h"
#include "kestrel/object.h"
#include "kestrel/platform.h"
#include "kestrel/run_result.h"
#include "kestrel/run_settings.h"
#include "kestrel/run_view.h"
#include "kestrel/source_end.h"

namespace kestrel {

struct AskedColumns;
class ListLoadedFlags;
class Recordset;
struct ConnectResult;
struct OpenedSource;
struct Session;
struct SourceInputs;
struct SourceKind;

// What is to be imported, and for whom.
struct ImportOrder {
  // The path of an import specification; or, of one in `folder`, its file name with or without extension, or its
  // description.
  std::string specification;
  // Where specifications lie; empty: "Import" in the component's own folder.
  std::string folder = {};
  // Takes the place of the source that the specification names, as a file handed in by a host does, but an
  // .accdb file is read as Access data; "-" is the standard input. Empty: none.
  std::string source_file = {};
  // Where the working copy lies; empty: beside the specification.
  std::string working_folder = {};
  // The host's database, handed on to import class, logs and duplicate check. Unset: what the session has.
  ObjectPtr host_connection = nullptr;
  // The personnel number, for the import class and the logs. Empty: what the session has.
  std::string user = {};
  // None: that of the specification.
  std::optional<std::int16_t> app_mode = std::nullopt;
  // Told what a person should know and what stops nothing, for instance that a source cannot be backed up; and,
  // in a run without a view, what stands in no log.
  std::function<void(std::string_view)> tell = nullptr;
};

// How far Check looks at the source: at its columns, or at every record of a file, which takes as long as
// reading it (of a server at the first one).
enum class CheckDepth { kColumns, kRecords };

// What a run does with the records.
enum class RunMode {
  kImport,  // hands them to the import class
  kTest,    // only read and checked, nothing stored
};

// One record of a preview: a text per column, empty where it cannot be read, which `unreadable` tells then.
using PreviewSink = std::function<void(const std::vector<std::string>& values, const Findings& unreadable)>;

// An import, from its specification to its result.
class KESTREL_EXPORT ImportJob {
 public:
  // What `platform` refers to outlives the job.
  explicit ImportJob(const Platform& platform);
  // For the pages of the wizard: works in their session, which outlives the job and keeps what is open when the
  // job goes.
  explicit ImportJob(Session& session);
  ImportJob(const ImportJob&) = delete;
  ImportJob& operator=(const ImportJob&) = delete;
  // Ends what is open in a session of the job's own, as Cancel does.
  ~ImportJob();

  // What the next run keeps to; stays until it is changed.
  RunSettings& settings();

  // The variables of the import, for programs that are built with the component.
  Session& session();

  // --- For hosts: from the specification to the result. All but Open raise 5 where nothing is open ---

  // Loads the specification, makes its working copy and puts the given source in place. A relative source path
  // that does not exist from the current folder is meant from the specification's. Raises ImportRefused for one
  // that is not found or whose application is no number, 52 for a user whose number holds a path separator, 58 where
  // other imports hold the names of working copies, and errors of files; nothing is open then.
  void Open(const ImportOrder& order);

  // Everything wrong or suspicious, in the order specification, source, destination. Shows no boxes. `no_host`,
  // where given, says why the destination cannot be asked, and stands in the place of its findings.
  Findings Check(CheckDepth depth = CheckDepth::kRecords, const std::optional<Finding>& no_host = std::nullopt);

  // The same to the columns, and what the data are like, which takes as long as reading all of them, also of a
  // server. The source is opened and read as in a run.
  DataProfile CheckData(const std::optional<Finding>& no_host = std::nullopt);

  // How the source's columns differ from those it had when the specification was saved: missing ones, with the name
  // that is nearest, and another order. Errors are missing columns that are assigned. Where none were remembered,
  // there is nothing to tell, and the source is not opened; else raises ImportRefused where it cannot be. For the
  // pages the source is the one that is connected; what fails is shown, too.
  Findings ColumnDrift();
  // Puts the replacements that ColumnDrift found, those of `drift`, in the place of the missing columns, in the
  // working copy; it differs from what was saved then. Raises what writing that raises.
  void TakeOverColumns(const Findings& drift);

  // Hands the first `most` records to `show`. Raises ImportRefused for a source that cannot be opened. Returns how
  // reading ended: kNotOpened or kBrokenOff with the error, which the user interface has shown, too.
  SourceEnd Preview(std::int64_t most, const PreviewSink& show);

  // Takes the steps before a run: import class, source, assignments. Raises ImportRefused for each that cannot
  // be taken, for what AssignmentFault finds, and for a field whose column cannot be read.
  void Prepare();

  // Runs the import. Raises ImportRefused where Prepare does and where Check(kColumns) has findings that are
  // errors; 5 where nothing is open or the job runs already. A source that cannot be backed up although that is
  // wanted is not removed, and a test run neither backs it up nor removes it. The view outlives the call.
  const RunResult& Run(RunView& view, RunMode mode = RunMode::kImport);
  // The same, watched by nobody.
  const RunResult& Run(RunMode mode = RunMode::kImport);
  // The same, in spite of findings: refuses only what Prepare does, and errors of ColumnDrift, whose other findings
  // are told.
  const RunResult& RunDespiteFindings(RunView& view, RunMode mode = RunMode::kImport);

  // --- The steps, as the pages take them ---

  // Step 1's "Weiter": loads the specification and makes its working copy in the session's folder, after what
  // an earlier import has left there is gone. Raises what Open raises but ImportRefused.
  void Choose(const std::string& path);
  // Begins the import: creates and primes the import class (CreateImportClass). Raises ImportRefused where that
  // fails, with the loader's full text, after the box was shown, or where none is named. For the pages,
  // `failure` receives the error instead, as CreateImportClass does it.
  void OpenImportClass();
  bool OpenImportClass(std::optional<RuntimeError>* failure);
  // What page 2 opens apart from the job, a server in another thread, and hands back (sources/source_connection.h).
  // The kind outlives both; `loaded` are the page's lists.
  std::function<OpenedSource()> BeginConnect(const SourceKind& kind, const SourceInputs& inputs,
                                             const ListLoadedFlags& loaded);
  ConnectResult FinishConnect(const SourceKind& kind, OpenedSource opened, ListLoadedFlags& loaded);
  // The column names of the source that is connected, and an empty element; what fails is shown.
  std::vector<std::string> SourceColumns();
  // What the source has answered meanwhile to whoever asked it in another thread (sources/source_reader.h):
  // SourceColumns and ColumnDrift tell that instead of asking. Null has them ask again.
  void UseColumns(std::shared_ptr<const AskedColumns> asked);
  // The source's records from the first one on, for a window that keeps them, and how many there are; what fails
  // is shown.
  std::shared_ptr<Recordset> OpenPreview(std::int64_t& count);
  // Connects to the source and reads its column names. Raises ImportRefused with the reason.
  void OpenSource();
  // Saves the settings of the pages (spec/save_schema.h).
  void SaveSchema(bool Commit);
  // Saves them as a new specification, with which the job goes on; false where no name was given.
  bool SaveSchemaAs();
  // Builds the assignment list (BuildAssignmentList); the flags of mandatory fields. `failure` gets its reason.
  std::vector<bool> AssignFields(std::string* failure);
  // What keeps the assignments from being imported, or none.
  std::optional<Finding> AssignmentFault();
  // The run of "Fertigstellen", in the session's TestMode: the page has asked AssignmentFault before. Raises 5
  // where a run is under way.
  const RunResult& RunAssigned(RunView& view);
  // Behind a test run that stayed open (RunSettings::stays_open): makes an import class for another run by
  // RunAssigned. False where that failed, which was shown. Raises 5 where no test run stayed open, and what the import
  // class raises.
  bool OpenTestedAgain();
  bool IsTestedOpen() const;

  // --- During a run and behind it ---

  // Asks the run under way, or the next one of what is open, to stop before its next record. Asked once
  // more, it also stops reading the rest of the source for what was not stored, which RunResult::rejects_error tells.
  void RequestStop();
  // Of the last run; complete once it has finished, from RunView::CloseWindow on.
  const RunResult& result() const;

  // Writes what the last run did not store to a file: of a text file the source's own lines, of every other source
  // CSV, with two more columns, "Grund" and "Datensatz". Run as the source of the same specification, it imports
  // just these. Whole or not at all. Raises 5 where the run kept nothing (RunSettings::keep_rejects), 70 for the
  // source itself, the specification or a file of the host's database, and what writing raises.
  void SaveRejects(const std::string& path) const;

  // Ends what is open without a run: the working copy is deleted, the import's logs end. Nothing where nothing
  // is open. Raises nothing.
  void Cancel();

 private:
  struct State;  // what is open
  std::unique_ptr<State> state_;
};

}  // namespace kestrel
