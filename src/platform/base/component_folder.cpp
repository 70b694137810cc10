#include "platform/base/component_folder.h"

#include <cstdlib>

#include "platform/base/file.h"

namespace kestrel {
namespace {

// An empty variable counts as none.
std::string EnvironmentText(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

std::string ComponentFolder() {
  constexpr const char* kFolderName = "kestrel-import";
  if (std::string own = EnvironmentText("KESTREL_HOME"); !own.empty()) return own;
  // A relative one is void, as the base directory convention has it.
  if (const std::string data = EnvironmentText("XDG_DATA_HOME"); data.starts_with('/')) {
    return JoinPath(data, kFolderName);
  }
  return JoinPath(JoinPath(EnvironmentText("HOME"), ".local/share"), kFolderName);
}

}  // namespace kestrel
