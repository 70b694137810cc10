#include "platform/base/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel {
namespace {

// Whether the path still names the file: who held the lock before may have deleted it.
bool IsStillThere(const std::string& path, const struct stat& file) {
  struct stat named {};
  return ::lstat(path.c_str(), &named) == 0 && named.st_dev == file.st_dev && named.st_ino == file.st_ino;
}

bool IsHeldByAnother(const FileDescriptor& file) {
  return ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

}  // namespace

std::optional<FileLock> FileLock::Acquire(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file.IsOpen()) throw ErrorFromErrno(errno, path);
  struct stat status {};
  if (IsHeldByAnother(file) || ::fstat(file.get(), &status) != 0 || !IsStillThere(path, status)) {
    return std::nullopt;
  }
  return FileLock(path, std::move(file));
}

std::optional<FileLock> FileLock::AcquireAbandoned(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file.IsOpen() || ::fstat(file.get(), &status) != 0) return std::nullopt;
  if ((!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) || status.st_uid != ::geteuid()) {
    return std::nullopt;
  }
  if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || !IsStillThere(path, status)) return std::nullopt;
  return FileLock(path, std::move(file));
}

bool FileLock::IsHeld(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  return file.IsOpen() && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::optional<FileLock> FileLock::AcquireFolder(const std::string& path) {
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
  if (!folder.IsOpen() && errno == ENOENT) return std::nullopt;
  if (!folder.IsOpen()) throw ErrorFromErrno(errno, path);
  struct stat status {};
  if (IsHeldByAnother(folder) || ::fstat(folder.get(), &status) != 0 || !IsStillThere(path, status)) {
    return std::nullopt;
  }
  return FileLock(path, std::move(folder));
}

void FileLock::Remove() {
  // Deleted while it is locked, so that nobody takes the name in between.
  if (file_.IsOpen()) ::unlink(path_.c_str());
  file_ = FileDescriptor();
}

}  // namespace kestrel
