#include "support/project_paths.h"

namespace kestrel::testing {

std::string InSourceTree(std::string_view path) {
  std::string result = KESTREL_SOURCE_DIR;
  if (!path.empty()) result.append("/").append(path);
  return result;
}

std::string InBuildTree(std::string_view path) { return std::string(KESTREL_BINARY_DIR "/").append(path); }

}  // namespace kestrel::testing
