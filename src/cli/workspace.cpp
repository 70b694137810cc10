#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/program.h"
#include "cli/told_waits.h"
#include "cli/typed_host.h"
#include "kestrel/import_man.h"
#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"
#include "spec/working_copy.h"

namespace kestrel::cli {

namespace {

// The database that `init` makes.
constexpr const char* kSampleDatabase = "kestrel.db";

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string SpecFolderFor(const CommonOptions& options) {
  if (options.folder.empty()) return DefaultSpecFolder();
  const std::string import = JoinPath(options.folder, "Import");
  return IsMissing(import) ? options.folder : import;
}

// The component's folder that --folder means, for what else lies there.
std::string ComponentFolderFor(const CommonOptions& options, const std::string& spec_folder) {
  if (spec_folder != options.folder) return options.folder;
  return ParentFolder(std::filesystem::absolute(options.folder).lexically_normal().string());
}

constexpr std::string_view kScratchPrefix = "kestrel-import-scratch-";

std::string FolderOfScratchFolders() {
  std::error_code error;
  const auto folder = std::filesystem::temp_directory_path(error);
  return error ? "/tmp" : folder.string();
}

}  // namespace

ScratchFolder::ScratchFolder(StopSignals& signals) : signals_(signals) {
  const auto hold = signals_.Hold();
  // A sweep may meet the folder before it is locked, and removes it then.
  while (!lock_) {
    path_ = JoinPath(FolderOfScratchFolders(), std::string(kScratchPrefix) + "XXXXXX");
    if (::mkdtemp(path_.data()) == nullptr) throw ErrorFromErrno(errno, path_);
    lock_ = FileLock::AcquireFolder(path_);
  }
  signals_.RemoveAtEnd(path_);
}

ScratchFolder::~ScratchFolder() {
  const auto hold = signals_.Hold();
  signals_.RemoveAtEnd("");
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void ScratchFolder::SweepAbandoned() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(FolderOfScratchFolders(), error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(kScratchPrefix) || name.size() != kScratchPrefix.size() + 6) continue;
    const std::optional<FileLock> abandoned = FileLock::AcquireAbandoned(entry.path().string());
    std::error_code ignored;
    if (abandoned) std::filesystem::remove_all(entry.path(), ignored);
  }
}

Answer ConsoleOfACommand::MessageBox(std::string_view text, std::string_view title, Icon icon,
                                     Buttons buttons) {
  if (icon == Icon::kStop && buttons == Buttons::kOk) {
    std::string& last = last_errors_[std::string(title)];
    if (last == text) return Answer::kOk;
    last = text;
  }
  if (before_) before_();
  return ConsoleUserInterface::MessageBox(text, title, icon, buttons);
}

Workspace::Workspace(const CommonOptions& options, const Surroundings& surroundings)
    : options_(options),
      surroundings_(surroundings),
      ui_(surroundings.err),
      spec_folder_(SpecFolderFor(options)),
      job_(Platform{ui_, components_, clock_}) {
  if (!options.folder.empty()) {
    ::setenv("KESTREL_HOME", ComponentFolderFor(options, spec_folder_).c_str(), 1);
  }
  components_.AddDefaultFolders();
  session().SpecFolder = spec_folder_;
  session().PersonalNr = options.user;
  // What programs that were killed have left may hold passwords.
  ScratchFolder::SweepAbandoned();
  SweepSpecFolder(spec_folder_);
}

std::string Workspace::NamedHost() const {
  return options_.host.empty() ? Environment("KESTREL_HOST") : options_.host;
}

std::string Workspace::HostConnectionString() const {
  std::string named = NamedHost();
  if (!named.empty()) return named;
  const std::string beside = JoinPath(ParentFolder(spec_folder_), kSampleDatabase);
  return IsMissing(beside) ? std::string() : beside;
}

std::string Workspace::TypedCommand(std::string_view command) const {
  std::string typed = "kestrel-import " + std::string(command);
  if (!options_.folder.empty()) typed += " --folder " + ShellWord(options_.folder);
  if (!options_.host.empty()) typed += " --host " + ShowHost(options_.host).text;
  if (!options_.user.empty()) typed += " --user " + ShellWord(options_.user);
  return typed;
}

std::string Workspace::WayToPassword() const {
  return options_.host.empty() || !ShowHost(options_.host).lacks_password
             ? std::string()
             : "Das Kennwort der Verbindung ist ausgelassen; PGPASSWORD oder die Datei .pgpass nennt es dann.";
}

std::string Workspace::WayToWriteHost() const {
  const std::string file = SqliteFileOf(HostConnectionString());
  if (file.empty() || (::access(file.c_str(), W_OK) == 0 && ::access(ParentFolder(file).c_str(), W_OK) == 0)) {
    return {};
  }
  return ". Geben Sie dem Benutzer Schreibrecht an '" + file + "' und an ihrem Ordner.";
}

void Workspace::OpenHost(MissingHost missing) {
  const std::string connection_string = HostConnectionString();
  if (connection_string.empty()) {
    throw NotUsable(
        "Keine Datenbank der Hauptanwendung angegeben. Geben Sie sie mit --host oder KESTREL_HOST an, oder "
        "legen "
        "Sie mit 'kestrel-import init ORDNER' eine Beispielanwendung an.");
  }
  const std::string file = SqliteFileOf(connection_string);
  if (missing == MissingHost::kRefuse && !file.empty() && file != ":memory:" &&
      (IsMissing(file) || FolderExists(file))) {
    throw NotUsable("Die Datenbank der Hauptanwendung '" + file +
                    "' existiert nicht. Prüfen Sie --host oder KESTREL_HOST; neu anlegen kann sie "
                    "'kestrel-import init ORDNER --host DATEI'.");
  }
  Trap([&] { session().HostConnection = OpenConnection(connection_string); },
       [&](const RuntimeError& error) {
         const bool unknown = error.Is(ErrorNumber::kProviderNotFound);
         throw NotUsable("Die Datenbank der Hauptanwendung kann nicht geöffnet werden. " + error.Description() +
                         (unknown
                              ? ". Möglich sind eine SQLite-Datei (.db, .sqlite, .sqlite3) und eine Adresse, "
                                "die mit postgresql:// beginnt."
                              : WayToWriteHost()));
       });
  // A host that has nothing to restore, or another one; what is wrong with it the import will tell.
  std::string other_version;
  Trap(
      [&] {
        const ObjectPtr setup = components_.CreateObject("kestrelhost.Setup");
        other_version = CallMethod(setup, "WhyOtherVersion", session().HostConnection).ToText();
        if (!other_version.empty()) return;
        const ToldWaits waits(*this);
        const std::string restored = CallMethod(setup, "RestoreDatabase", session().HostConnection).ToText();
        if (!restored.empty()) err() << restored << '\n';
      },
      [](const RuntimeError&) {});
  if (!other_version.empty()) throw NotUsable(other_version + ".");
}

void Workspace::RequireWritableHost(std::string_view so) {
  std::string reason;
  // Another host may have no such member; what is wrong with it the import will tell.
  Trap(
      [&] {
        const ObjectPtr setup = components_.CreateObject("kestrelhost.Setup");
        reason = CallMethod(setup, "WhyReadOnly", session().HostConnection).ToText();
      },
      [](const RuntimeError&) {});
  if (!reason.empty()) throw NotUsable(std::string(so) + reason);
}

void Workspace::LoadSpecification(const std::string& name, const std::string& source_file) {
  scratch_ = std::make_unique<ScratchFolder>(signals());
  job_.Open({.specification = name,
             .folder = spec_folder_,
             .source_file = source_file,
             .working_folder = scratch_->path(),
             .tell = [this](std::string_view text) { err() << text << std::endl; }});
}

}  // namespace kestrel::cli
