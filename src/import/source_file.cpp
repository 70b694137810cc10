#include "import/source_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "kestrel/recordset.h"
#include "kestrel/user_interface.h"
#include "platform/base/counted.h"
#include "platform/base/file.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

// Copying a file onto itself would count as a backup and let the removal delete the only copy.
void RefuseSameFile(const std::string& source, const std::string& destination) {
  std::error_code unknown;
  if (std::filesystem::equivalent(source, destination, unknown)) {
    throw RuntimeError(ErrorNumber::kPermissionDenied,
                       std::string(DescriptionOf(ErrorNumber::kPermissionDenied)) + ": " + destination +
                           " ist die Quelldatei selbst. Bitte einen anderen Sicherungspfad wählen");
  }
}

// A folder that cannot be looked at is not one that is missing: the source must not be removed without its backup.
bool BackupFolderExists(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (!std::filesystem::status_known(status)) throw ErrorFromErrno(error.value(), path);
  return std::filesystem::is_directory(status);
}

FileIdentity IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw ErrorFromErrno(errno, path);
  return FileIdentity(status);
}

// Empty where nothing speaks against removing the source file.
std::string WhySourceStays(const Session& session, const std::string& file, const RunResult& run) {
  if (run.errors != 0) return "Es wurden Fehler gezählt.";
  if (run.skipped > 0) return "Der Import hat nicht mit ihrem ersten Datensatz begonnen.";
  if (run.aborted) return "Der Import wurde abgebrochen.";
  if (run.source_end.state != SourceState::kAtEnd) return "Sie wurde nicht bis zu ihrem Ende gelesen.";
  if (run.records != run.total) {
    return "Von " + Counted(run.total, "Datensatz ", "Datensätzen ") +
           (run.records == 1 ? "wurde " : "wurden ") + std::to_string(run.records) + " verarbeitet.";
  }
  const std::optional<FileIdentity> read = session.SourceRecordset->SourceFile();
  if (!read) return "Es ist nicht bekannt, welchen Stand der Datei der Import gelesen hat.";
  if (IdentityOf(file) != *read) {
    return "Sie wurde seit dem Beginn des Imports geändert. Bitte prüfen Sie, ob sie Datensätze enthält, die "
           "noch "
           "nicht importiert sind.";
  }
  return {};
}

}  // namespace

void BackUpSourceFile(Session& session) {
  if (!IsOn(session, &Session::SaveFile) || session.SavePath.empty()) return;
  if (!BackupFolderExists(session.SavePath)) {
    session.platform.ui.MessageBox("Der Sicherungspfad ''" + session.SavePath +
                                       "'' existiert nicht. Die Datei kann nicht gesichert werden.",
                                   "", Icon::kInformation, Buttons::kOk);
    return;
  }
  const std::string& file = session.*KindOf(session)->location;
  const std::string destination = JoinPath(session.SavePath, FileNameOfPath(file));
  RefuseSameFile(file, destination);
  // What a program that was killed has left of a copy.
  SweepLeftovers(session.SavePath);
  CopyFile(file, destination);
}

std::string RemoveSourceFile(Session& session, const RunResult& run) {
  if (!IsOn(session, &Session::DeleteFile)) return {};
  const std::string& file = session.*KindOf(session)->location;
  std::string why = WhySourceStays(session, file, run);
  if (!why.empty()) return "Die Quelldatei '" + file + "' wurde nicht gelöscht: " + why;
  DeleteFile(file);
  return {};
}

}  // namespace kestrel
