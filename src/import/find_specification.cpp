#include "import/find_specification.h"

#include <utility>

#include "kestrel/finding.h"
#include "platform/base/file.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

ImportRefused NotFound(std::string text) {
  return ImportRefused(Finding{Severity::kError, {}, std::move(text)});
}

}  // namespace

std::string FindSpecification(const std::string& folder, const std::string& name) {
  if (name.empty()) throw NotFound("Es ist keine Importspezifikation angegeben.");
  if (FileExists(name)) return name;
  // Of one that a closed folder hides the reason is told.
  if (name.find('/') != std::string::npos && !FolderExists(name)) ProfileStore().Require(name);
  if (name.find('/') == std::string::npos) {
    for (const char* extension : {"", ".IMP", ".imp", ".IMT", ".imt"}) {
      std::string path = JoinPath(folder, name + extension);
      if (FileExists(path)) return path;
    }
  }
  std::string known;
  if (!IsMissing(folder)) {
    for (std::string& path : ListFiles(folder)) {
      const std::string extension = GetFileExtension(path);
      if (extension != ".IMP" && extension != ".IMT") continue;
      if (GetIniString(path, "Common", "Description", "") == name) return std::move(path);
      known += "\n  " + FileNameOfPath(path);
    }
  }
  throw NotFound("Die Importspezifikation '" + name + "' wurde nicht gefunden (gesucht in " + folder +
                 (IsMissing(folder) ? ", diesen Ordner gibt es nicht" : "") + ")." +
                 (FolderExists(name) ? " ''" + name + "'' ist ein Ordner." : "") +
                 (known.empty() ? "" : " Vorhanden sind:" + known));
}

}  // namespace kestrel
