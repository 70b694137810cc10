#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/program.h"
#include "component/import_class.h"
#include "component/import_man.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/data/connection_string.h"
#include "platform/data/open_connection.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"
#include "spec/profile_access.h"
#include "spec/specification.h"

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
  return FolderExists(import) ? import : options.folder;
}

// The component's folder that --folder means, for what else lies there.
std::string ComponentFolderFor(const CommonOptions& options, const std::string& spec_folder) {
  if (spec_folder != options.folder) return options.folder;
  return ParentFolder(std::filesystem::absolute(options.folder).lexically_normal().string());
}

// The file of an SQLite database, or an empty text.
std::string SqliteFileOf(const std::string& connection_string) {
  const ConnectionKeys keys(connection_string);
  if (!sqlite::Serves(keys)) return {};
  return keys.Find("Provider") ? keys.Get("Data Source") : connection_string;
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

Answer CountingUserInterface::MessageBox(std::string_view text, std::string_view title, Icon icon,
                                         Buttons buttons) {
  ++boxes_;
  if (silent_) return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  return console_.MessageBox(text, title, icon, buttons);
}

std::optional<std::string> CountingUserInterface::InputBox(std::string_view prompt, std::string_view title) {
  return console_.InputBox(prompt, title);
}

std::optional<std::string> CountingUserInterface::ChooseFile(std::string_view title, std::string_view filter,
                                                             const std::string& start) {
  return console_.ChooseFile(title, filter, start);
}

std::optional<std::string> CountingUserInterface::ChooseFolder(std::string_view title,
                                                               const std::string& start) {
  return console_.ChooseFolder(title, start);
}

Workspace::Workspace(const CommonOptions& options, const Surroundings& surroundings)
    : options_(options),
      surroundings_(surroundings),
      ui_(surroundings.err),
      session_(Platform{ui_, components_, clock_}),
      spec_folder_(SpecFolderFor(options)) {
  if (!options.folder.empty()) {
    ::setenv("KESTREL_HOME", ComponentFolderFor(options, spec_folder_).c_str(), 1);
  }
  components_.AddDefaultFolders();
  session_.SpecFolder = spec_folder_;
  session_.PersonalNr = options.user;
  // What programs that were killed have left may hold passwords.
  ScratchFolder::SweepAbandoned();
  SweepSpecFolder(spec_folder_);
}

std::string Workspace::HostConnectionString() const {
  if (!options_.host.empty()) return options_.host;
  std::string named = Environment("KESTREL_HOST");
  if (!named.empty()) return named;
  const std::string beside = JoinPath(ParentFolder(spec_folder_), kSampleDatabase);
  return FileExists(beside) ? beside : std::string();
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
  if (missing == MissingHost::kRefuse && !file.empty() && file != ":memory:" && !FileExists(file)) {
    throw NotUsable("Die Datenbank der Hauptanwendung ''" + file +
                    "'' existiert nicht. Prüfen Sie --host oder KESTREL_HOST; neu anlegen kann sie "
                    "'kestrel-import init ORDNER --host DATEI'.");
  }
  Trap([&] { session_.HostConnection = OpenConnection(connection_string); },
       [](const RuntimeError& error) {
         const bool unknown = error.Is(ErrorNumber::kProviderNotFound);
         throw NotUsable("Die Datenbank der Hauptanwendung kann nicht geöffnet werden. " + error.Description() +
                         (unknown
                              ? ". Möglich sind eine SQLite-Datei (.db, .sqlite, .sqlite3) und eine Adresse, "
                                "die mit postgresql:// beginnt."
                              : ""));
       });
  // A host that has nothing to restore, or another one; what is wrong with it the import will tell.
  Trap(
      [&] {
        const ObjectPtr setup = components_.CreateObject("kestrelhost.Setup");
        const std::string restored = CallMethod(setup, "RestoreDatabase", session_.HostConnection).ToText();
        if (!restored.empty()) err() << restored << '\n';
      },
      [](const RuntimeError&) {});
}

std::string Workspace::FindSpecification(const std::string& name) {
  if (name.empty()) throw NotUsable("Es ist keine Importspezifikation angegeben.");
  if (FileExists(name)) return name;
  if (name.find('/') == std::string::npos) {
    for (const char* extension : {"", ".IMP", ".imp", ".IMT", ".imt"}) {
      std::string path = JoinPath(spec_folder_, name + extension);
      if (FileExists(path)) return path;
    }
  }
  std::string known;
  if (FolderExists(spec_folder_)) {
    for (std::string& path : ListFiles(spec_folder_)) {
      const std::string extension = GetFileExtension(path);
      if (extension != ".IMP" && extension != ".IMT") continue;
      if (GetIniString(session_.profiles, path, "Common", "Description", "") == name) return path;
      known += "\n  " + FileNameOfPath(path);
    }
  }
  throw NotUsable("Die Importspezifikation '" + name + "' wurde nicht gefunden (gesucht in " + spec_folder_ +
                  (FolderExists(spec_folder_) ? "" : ", diesen Ordner gibt es nicht") + ")." +
                  (FolderExists(name) ? " ''" + name + "'' ist ein Ordner." : "") +
                  (known.empty() ? "" : " Vorhanden sind:" + known));
}

void Workspace::LoadSpecification(const std::string& name, const std::string& source_file) {
  const std::string path = FindSpecification(name);
  session_.SpecFile = path;
  ReadCommonSection(session_);
  const std::string application = GetIniString(session_.profiles, path, "Common", "Application", "2");
  const auto app_mode = ParseWholeNumber(application);
  if (!app_mode || *app_mode < INT16_MIN || *app_mode > INT16_MAX) {
    throw NotUsable(path + ": [Common] Application='" + application + "' ist keine Nummer einer Anwendung.");
  }
  session_.AppMode = static_cast<std::int16_t>(*app_mode);
  scratch_ = std::make_unique<ScratchFolder>(signals());
  session_.SpecFolder = scratch_->path();
  CreateWorkingCopy(session_);
  session_.ImportFileName = source_file == "-" ? "/dev/stdin" : source_file;
  if (!source_file.empty()) ApplyImportFileName(session_);
  ResolveSourcePaths();
}

void Workspace::ResolveSourcePaths() {
  const auto resolve = [&](std::string& path) {
    if (path.empty() || path.front() == '/' || FileExists(path) || FolderExists(path)) return;
    const std::string beside = JoinPath(ParentFolder(session_.ChosenSpecFile), path);
    if (FileExists(beside) || FolderExists(beside)) path = beside;
  };
  if (session_.Provider == kTextSource) {
    resolve(session_.FileName);
    resolve(session_.SavePath);
  } else if (session_.Provider != kSqlServerSource) {
    resolve(session_.Database);
  }
}

void Workspace::TakeStream() {
  if (!IsStream(session_.FileName)) return;
  if (session_.SaveFile) {
    err() << "Die Quelle ist keine Datei mit eigenem Namen; sie wird nicht gesichert." << std::endl;
  }
  session_.SaveFile = false;
  session_.DeleteFile = false;
  if (!PipedSource::IsPipe(session_.FileName)) return;
  piped_source_ = std::make_unique<PipedSource>(session_.FileName);
  session_.FileName = piped_source_->path();
}

void Workspace::OpenSource() {
  if (session_.Provider == kTextSource) {
    TakeStream();
    if (FolderExists(session_.FileName)) {
      throw NotUsable("''" + session_.FileName + "'' ist ein Ordner und keine Textdatei.");
    }
    if (!FileExists(session_.FileName)) {
      throw NotUsable("Die Datei ''" + session_.FileName + "'' existiert nicht.");
    }
  } else {
    const ConnectResult result = ConnectFromSession(session_);
    if (!result.connected) {
      throw NotUsable("Die Datenquelle (" + session_.Provider + ") kann nicht geöffnet werden. " +
                      (result.reason.empty() ? "Es fehlen Angaben im Abschnitt [Common]." : result.reason));
    }
  }
  const int before = ui_.boxes();
  session_.SourceFieldNames = SourceColumnNames(session_);
  // The reader has told the reason.
  if (ui_.boxes() != before) throw NotUsable("Die Felder der Datenquelle konnten nicht gelesen werden.");
}

void Workspace::OpenImportClass() {
  if (session_.ImportClassProgID.empty()) {
    throw NotUsable(
        session_.ChosenSpecFile +
        ": Im Abschnitt [Common] fehlt ImportClass, das Importziel. 'kestrel-import check' prüft, ob "
        "dies eine Importspezifikation ist.");
  }
  std::optional<RuntimeError> failure;
  if (!CreateImportClass(session_, &failure)) throw NotUsable(failure->Description());
}

}  // namespace kestrel::cli
