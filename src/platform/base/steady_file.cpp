#include "platform/base/steady_file.h"

#include <cerrno>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/input_file.h"

namespace kestrel {

namespace {

constexpr int kAttempts = 5;

RuntimeError NotReadable(const std::string& path, const char* reason) {
  return RuntimeError(ErrorNumber::kPathFileAccess,
                      std::string(DescriptionOf(ErrorNumber::kPathFileAccess)) + ": " + path + " " + reason);
}

FileIdentity IdentityOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) throw ErrorFromErrno(errno, path);
  RequireOrdinaryFile(status, path);
  return FileIdentity(status);
}

}  // namespace

SteadyFile ReadSteadyFile(const std::string& path) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const FileIdentity before = IdentityOf(path);
    std::string content = ReadWholeFile(path);
    if (IdentityOf(path) == before && content.size() == static_cast<std::size_t>(before.size)) {
      return {std::move(content), before};
    }
  }
  throw NotReadable(path, "wird gerade von einem anderen Programm geschrieben");
}

}  // namespace kestrel
