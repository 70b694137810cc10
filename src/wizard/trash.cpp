#include "wizard/trash.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "wizard/qt_text.h"

namespace kestrel {

namespace {

bool MoveToDesktopTrash(const std::string& path) {
  // Without this folder Qt takes the working folder for the trash.
  const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
  return !data.isEmpty() && QDir().mkpath(data) && QFile::moveToTrash(ToQt(path));
}

}  // namespace

void MoveToTrash(const std::string& path, bool (*to_desktop)(const std::string& path)) {
  if (to_desktop != nullptr ? to_desktop(path) : MoveToDesktopTrash(path)) return;
  const std::string folder = JoinPath(ParentFolder(path), "Gelöscht");
  CreateFolders(folder);
  const std::string name = FileNameOfPath(path);
  std::string target = JoinPath(folder, name);
  for (int number = 1; FileExists(target); ++number) {
    target = JoinPath(folder, std::to_string(number) + "-" + name);
  }
  QFile file(ToQt(path));
  if (file.rename(ToQt(target))) return;
  throw RuntimeError(ErrorNumber::kPathFileAccess,
                     path + " kann nicht in den Papierkorb gelegt werden: " + FromQt(file.errorString()));
}

}  // namespace kestrel
