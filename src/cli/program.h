// The command line program: options, the session it works in, and its commands.
//
// Data goes to standard output, everything else to standard error. Exit statuses stand in ExitStatus.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/output.h"
#include "cli/piped_source.h"
#include "cli/stop_signals.h"
#include "cli/terminal_stream.h"
#include "component/session.h"
#include "platform/base/file_lock.h"
#include "platform/dialogs/console_user_interface.h"

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

// A user interface that counts what it showed, so that a command can tell whether anything went wrong.
class CountingUserInterface final : public UserInterface {
 public:
  explicit CountingUserInterface(std::ostream& stream) : console_(stream) {}

  int boxes() const { return boxes_; }

  // While one lives, boxes are counted but not shown; for a command that tells of them itself.
  class Silence {
   public:
    explicit Silence(CountingUserInterface& ui) : ui_(ui) { ui_.silent_ = true; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() { ui_.silent_ = false; }

   private:
    CountingUserInterface& ui_;
  };

  Answer MessageBox(std::string_view text, std::string_view title, Icon icon, Buttons buttons) override;
  std::optional<std::string> InputBox(std::string_view prompt, std::string_view title) override;
  std::optional<std::string> ChooseFile(std::string_view title, std::string_view filter,
                                        const std::string& start) override;
  std::optional<std::string> ChooseFolder(std::string_view title, const std::string& start) override;
  void Yield() override {}

 private:
  ConsoleUserInterface console_;
  int boxes_ = 0;
  bool silent_ = false;
};

// Where a command prints, and what may stop it.
struct Surroundings {
  std::ostream& out;
  std::ostream& err;
  // Standard error without the filter: for a command's own control characters, never for a text from elsewhere.
  std::ostream& terminal;
  StopSignals& signals;
};

// The session of one command, with everything it stands on.
class Workspace {
 public:
  Workspace(const CommonOptions& options, const Surroundings& surroundings);

  Session& session() { return session_; }
  CountingUserInterface& ui() { return ui_; }
  ComponentRegistry& components() { return components_; }
  std::ostream& out() { return surroundings_.out; }
  std::ostream& err() { return surroundings_.err; }
  std::ostream& terminal() { return surroundings_.terminal; }
  StopSignals& signals() { return surroundings_.signals; }
  const CommonOptions& options() const { return options_; }

  // The folder with the specifications.
  const std::string& spec_folder() const { return spec_folder_; }
  // The host's connection string: --host, KESTREL_HOST, or the database that init made in the folder.
  std::string HostConnectionString() const;
  // Opens the host database into the session. NotUsable where none is named or it cannot be opened; an SQLite
  // file that is missing is only made where asked for, as its name may be mistyped.
  enum class MissingHost { kRefuse, kMake };
  void OpenHost(MissingHost missing = MissingHost::kRefuse);

  // The specification file meant by `name`: a path; a file of the specification folder with or without
  // ".IMP" or ".IMT"; or a Description. NotUsable, with what there is, where nothing fits.
  std::string FindSpecification(const std::string& name);
  // Loads a specification into the session: working copy, section Common, application mode; `source_file`,
  // where not empty, takes the place of the source as a file handed in by a host does.
  void LoadSpecification(const std::string& name, const std::string& source_file);
  // Connects to the source and reads its column names into the session. NotUsable with the reason.
  void OpenSource();
  // Creates and primes the import class. NotUsable with the loader's reason.
  void OpenImportClass();

 private:
  // Source paths that are relative and do not exist from here are meant from the specification's folder.
  void ResolveSourcePaths();
  // A text source that is no file with a place of its own is neither saved nor removed; a pipe is read to its
  // end.
  void TakeStream();

  CommonOptions options_;
  Surroundings surroundings_;
  CountingUserInterface ui_;
  ComponentRegistry components_;
  SystemClock clock_;
  Session session_;
  std::string spec_folder_;
  std::unique_ptr<ScratchFolder> scratch_;
  std::unique_ptr<PipedSource> piped_source_;
};

// --- Commands; each returns an ExitStatus and raises NotUsable or RuntimeError ---

struct ListOptions {
  std::int16_t app_mode = 2;
  bool app_mode_given = false;
  bool templates = false;
};
int ListCommand(Workspace& workspace, const ListOptions& options);
int ShowCommand(Workspace& workspace, const std::string& spec);
int CheckCommand(Workspace& workspace, const std::string& spec, const std::string& source_file);
int TablesCommand(Workspace& workspace, const std::string& spec);
int ColumnsCommand(Workspace& workspace, const std::string& spec, const std::string& source_file);
int PreviewCommand(Workspace& workspace, const std::string& spec, const std::string& source_file,
                   std::int64_t records);

enum class Progress { kAuto, kPlain, kNone };
struct RunOptions {
  std::string spec;
  std::string source_file;
  bool test = false;
  Progress progress = Progress::kAuto;
};
int RunCommand(Workspace& workspace, const RunOptions& options);

struct LogOptions {
  bool duplicates = false;
  bool last = false;
};
int LogCommand(Workspace& workspace, const LogOptions& options);
struct InitOptions {
  std::string folder;
  // Also into a folder that holds something, all of which is kept.
  bool force = false;
};
int InitCommand(Workspace& workspace, const InitOptions& options);

// The whole program. `arguments` without the program's name.
int Main(std::vector<std::string> arguments, DescriptorOutput& out, std::ostream& err);

}  // namespace kestrel::cli
