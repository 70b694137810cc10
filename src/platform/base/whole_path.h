// Paths that are written down for later.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

namespace kestrel {

// Names the same file whatever the working folder is later; an empty path stays so.
inline std::string WholePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  return error || path.empty() ? path : whole.lexically_normal().string();
}

}  // namespace kestrel
