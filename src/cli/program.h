// The command line program: options, the import job it works with, and its commands.
//
// Data goes to standard output, everything else to standard error. Exit statuses stand in ExitStatus.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output.h"
#include "cli/screen.h"
#include "cli/stop_signals.h"
#include "cli/terminal_stream.h"
#include "component/session.h"
#include "kestrel/import_job.h"
#include "platform/base/file_lock.h"

namespace kestrel::cli {

enum ExitStatus : int {
  kDone = 0,           // no error counted
  kErrorsCounted = 1,  // done, errors counted
  kWrongUse = 2,       // of the command line
  kCancelled = 3,      // by the import class
  kNotUsable = 4,      // specification, source, host or component
  kStoppedByUser = 5,
};

struct CommonOptions {
  std::string host;    // connection string of the host database
  std::string folder;  // the component's folder or the specification folder itself
  std::string user;    // personnel number
  OutputFormat format = OutputFormat::kText;
  bool excel = false;  // CSV for a spreadsheet
};

// A failure that ends a command with kNotUsable; the text is for a person.
class NotUsable : public std::exception {
 public:
  explicit NotUsable(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

// A folder of its own for the working copy, so that two runs at a time never share one and the
// specification folder need not be writable. Removed with its content, by a signal that ends the program, too.
class ScratchFolder {
 public:
  explicit ScratchFolder(StopSignals& signals);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& path() const { return path_; }

  // Removes the scratch folders of this user's programs that ended without doing so. Raises nothing.
  static void SweepAbandoned();

 private:
  StopSignals& signals_;
  std::string path_;
  std::optional<FileLock> lock_;  // says that the folder is in use
};

// Who is told how far a command has come, in place of a line on standard error. By the thread of the command.
class ProgressWatcher {
 public:
  virtual ~ProgressWatcher() = default;
  virtual void Show(std::string_view info, double percent) = 0;
};

// Where a command prints, and what may stop it.
struct Surroundings {
  std::ostream& out;
  std::ostream& err;
  // Standard error without the filter: for a command's own control characters, never for a text from elsewhere.
  std::ostream& terminal;
  StopSignals& signals;
  const Screen& screen;
  ProgressWatcher* watcher = nullptr;  // null: the person who looks at standard error
};

// Tells an error once that comes again and again, as that of a log which cannot be made does.
class ConsoleOfACommand final : public ConsoleUserInterface {
 public:
  using ConsoleUserInterface::ConsoleUserInterface;
  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  // Called before each box; empty: nothing is.
  void BeforeBoxes(std::function<void()> step) { before_ = std::move(step); }

 private:
  std::function<void()> before_;
  std::map<std::string, std::string, std::less<>> last_errors_;  // by their titles
};

// The import job of one command, with everything it stands on.
class Workspace {
 public:
  Workspace(const CommonOptions& options, const Surroundings& surroundings);

  ImportJob& job() { return job_; }
  ConsoleOfACommand& ui() { return ui_; }
  Session& session() { return job_.session(); }
  ComponentRegistry& components() { return components_; }
  std::ostream& out() { return surroundings_.out; }
  std::ostream& err() { return surroundings_.err; }
  std::ostream& terminal() { return surroundings_.terminal; }
  StopSignals& signals() { return surroundings_.signals; }
  const Surroundings& surroundings() const { return surroundings_; }
  ProgressWatcher* watcher() const { return surroundings_.watcher; }
  const Screen& screen() const { return surroundings_.screen; }
  const CommonOptions& options() const { return options_; }
  // How tables are printed.
  TableLook look() const {
    return {options_.format, options_.excel, Screen::OutColumns(), &screen().charset()};
  }

  // The folder with the specifications.
  const std::string& spec_folder() const { return spec_folder_; }
  // The host's connection string as it was given: --host or KESTREL_HOST; empty where neither is.
  std::string NamedHost() const;
  // That one, or the database that init made in the folder.
  std::string HostConnectionString() const;
  // What to do where the host's SQLite file or its folder may not be written, to go behind an error; empty where both
  // may, and for other databases.
  std::string WayToWriteHost() const;
  // Opens the host database into the session. NotUsable where none is named or it cannot be opened; an SQLite
  // file that is missing is only made where asked for, as its name may be mistyped.
  enum class MissingHost { kRefuse, kMake };
  void OpenHost(MissingHost missing = MissingHost::kRefuse);
  // A command and its arguments (quoted for a shell) as a person types it to work with the same folder and host,
  // as the same user.
  std::string TypedCommand(std::string_view command) const;
  // Where that leaves a password out: a sentence that says how to give it. Else empty.
  std::string WayToPassword() const;
  // NotUsable where the host that is open knows that its database takes no changes. `so` says what is not possible.
  void RequireWritableHost(std::string_view so = "Importieren ist hier nicht möglich. ");

  // Opens the specification that `name` means (import/find_specification.h) with a working copy in a folder of
  // its own; `source_file`, where not empty, takes the place of its source, as a file handed in by a host does.
  void LoadSpecification(const std::string& name, const std::string& source_file);

 private:
  CommonOptions options_;
  Surroundings surroundings_;
  ConsoleOfACommand ui_;
  ComponentRegistry components_;
  SystemClock clock_;
  std::string spec_folder_;
  std::unique_ptr<ScratchFolder> scratch_;
  ImportJob job_;
};

// --- Commands; each returns an ExitStatus and raises NotUsable, ImportRefused or RuntimeError ---

struct ListOptions {
  std::int16_t app_mode = 2;
  bool app_mode_given = false;
  bool templates = false;
};
int ListCommand(Workspace& workspace, const ListOptions& options);
int ShowCommand(Workspace& workspace, const std::string& spec);
struct CheckOptions {
  std::string spec;
  std::string source_file;
  bool data = false;  // look at every value, too
};
int CheckCommand(Workspace& workspace, const CheckOptions& options);
int TablesCommand(Workspace& workspace, const std::string& spec);
int ColumnsCommand(Workspace& workspace, const std::string& spec, const std::string& source_file);
int PreviewCommand(Workspace& workspace, const std::string& spec, const std::string& source_file,
                   std::int64_t records);

enum class Progress { kAuto, kPlain, kNone };
struct RunOptions {
  std::string spec;
  std::string source_file;
  std::string user;  // personnel number; empty: that of the workspace
  bool test = false;
  Progress progress = Progress::kAuto;
  // Nothing is printed of what went well.
  bool quiet = false;
  // Where events of the run are added, a JSON object a line; empty: nowhere.
  std::string json_log;
  RunSettings settings;
};
int RunCommand(Workspace& workspace, const RunOptions& options);

struct LogOptions {
  bool duplicates = false;
  bool last = false;
};
int LogCommand(Workspace& workspace, const LogOptions& options);
struct RunsOptions {
  // Show this run, or the last one, instead of listing all.
  std::optional<std::int64_t> run;
  bool last = false;
};
int RunsCommand(Workspace& workspace, const RunsOptions& options);
struct UndoOptions {
  std::int64_t run = 0;
  bool dry_run = false;
  bool force = false;
  Progress progress = Progress::kAuto;
};
int UndoCommand(Workspace& workspace, const UndoOptions& options);
struct InitOptions {
  std::string folder;
  // Also into a folder that holds something, all of which is kept.
  bool force = false;
};
int InitCommand(Workspace& workspace, const InitOptions& options);
struct NewOptions {
  std::string spec;    // its name, or a path
  std::string from;    // the source file
  std::string target;  // the import class
  std::string table;   // of a source with several; empty: the first
  std::optional<std::int16_t> app_mode;
};
int NewCommand(Workspace& workspace, const NewOptions& options);

// Answers requests of standard input on standard output until its client ends it.
int ServeCommand(const CommonOptions& common, const Surroundings& surroundings);

// The whole program. `arguments` without the program's name.
int Main(std::vector<std::string> arguments, DescriptorOutput& out, std::ostream& err);

}  // namespace kestrel::cli
