#include "import/find_specification.h"

#include <optional>
#include <utility>
#include <vector>

#include "kestrel/finding.h"
#include "platform/base/file.h"
#include "platform/base/nearest_name.h"
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
  std::vector<std::string> names;
  if (!IsMissing(folder)) {
    for (std::string& path : ListFiles(folder)) {
      const std::string extension = GetFileExtension(path);
      if (extension != ".IMP" && extension != ".IMT") continue;
      std::string description = GetIniString(path, "Common", "Description", "");
      if (description == name) return std::move(path);
      const std::string file = FileNameOfPath(path);
      names.push_back(file.substr(0, file.size() - extension.size()));
      names.push_back(std::move(description));
      known += "\n  " + file;
    }
  }
  const std::optional<std::string> nearest = NearestName(name, names);
  throw NotFound("Die Importspezifikation '" + name + "' wurde nicht gefunden (gesucht in " + folder +
                 (IsMissing(folder) ? ", diesen Ordner gibt es nicht" : "") + ")." +
                 (FolderExists(name) ? " ''" + name + "'' ist ein Ordner." : "") +
                 (nearest ? " Meinten Sie '" + *nearest + "'?" : "") +
                 (known.empty() ? "" : " Vorhanden sind:" + known));
}

}  // namespace kestrel
