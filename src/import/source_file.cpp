#include "import/source_file.h"

#include <filesystem>

#include "platform/base/file.h"
#include "spec/specification.h"

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

}  // namespace

void BackUpSourceFile(Session& session) {
  if (!session.SaveFile || session.Provider != kTextSource || session.SavePath.empty()) return;
  if (!FolderExists(session.SavePath)) {
    session.platform.ui.MessageBox("Der Sicherungspfad ''" + session.SavePath +
                                       "'' existiert nicht. Die Datei kann nicht gesichert werden.",
                                   "", Icon::kInformation, Buttons::kOk);
    return;
  }
  const std::string destination = JoinPath(session.SavePath, FileNameOfPath(session.FileName));
  RefuseSameFile(session.FileName, destination);
  CopyFile(session.FileName, destination);
}

void RemoveSourceFile(Session& session, std::int32_t error_count) {
  if (session.Provider != kTextSource || !session.DeleteFile || error_count != 0) return;
  DeleteFile(session.FileName);
}

}  // namespace kestrel
