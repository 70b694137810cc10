#include "platform/base/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel {

namespace {

bool IsSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

// What is no file with an end of its own; null for others.
const char* SpecialKind(mode_t mode) {
  if (S_ISFIFO(mode)) return "eine Pipe";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "ein Gerät";
  if (S_ISSOCK(mode)) return "ein Socket";
  return S_ISREG(mode) ? nullptr : "keine gewöhnliche Datei";
}

// Opening a device may already set it to work, so it is looked at first.
int OpenOrdinary(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw ErrorFromErrno(errno, path);
  RequireOrdinaryFile(status, path);
  // Should a pipe have come in its place, opening it does not wait.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (descriptor < 0) throw ErrorFromErrno(errno, path);
  return descriptor;
}

}  // namespace

void RequireOrdinaryFile(const struct stat& status, const std::string& path) {
  if (S_ISDIR(status.st_mode)) throw ErrorFromErrno(EISDIR, path);
  const char* const kind = SpecialKind(status.st_mode);
  if (kind == nullptr) return;
  throw RuntimeError(ErrorNumber::kPathFileAccess,
                     "'" + path + "' ist " + kind +
                         " und kann nicht als Datei gelesen werden. Bitte den Inhalt zuerst in einer Datei "
                         "speichern und diese angeben.");
}

InputFile::InputFile(const std::string& path) : InputFile(path, OpenOrdinary(path)) {
  if (fstat(descriptor_, &opened_) != 0) throw ErrorFromErrno(errno, path_);
  RequireOrdinaryFile(opened_, path_);
}

InputFile::InputFile(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) {}

InputFile::InputFile(InputFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      opened_(other.opened_) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  std::swap(opened_, other.opened_);
  return *this;
}

InputFile::~InputFile() { Close(); }

void InputFile::Close() {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
}

std::size_t InputFile::SizeAtOpening() const {
  return opened_.st_size > 0 ? static_cast<std::size_t>(opened_.st_size) : 0;
}

bool InputFile::HasChanged() const {
  struct stat now {};
  return fstat(descriptor_, &now) != 0 || now.st_size != opened_.st_size ||
         !IsSameTime(now.st_mtim, opened_.st_mtim);
}

FileIdentity InputFile::Identity() const {
  struct stat now {};
  if (fstat(descriptor_, &now) != 0) throw ErrorFromErrno(errno, path_);
  return FileIdentity(now);
}

void InputFile::RaiseChanged() const {
  throw RuntimeError(ErrorNumber::kPathFileAccess,
                     "Die Datei '" + path_ +
                         "' wurde geändert, während sie gelesen wurde. Bitte wiederholen Sie den Vorgang, wenn "
                         "kein anderes Programm mehr in sie schreibt.");
}

std::size_t InputFile::ReadAt(std::size_t offset, char* bytes, std::size_t size) const {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = pread(descriptor_, bytes + filled, size - filled, static_cast<off_t>(offset + filled));
    if (got == 0) break;
    if (got > 0) {
      filled += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      throw ErrorFromErrno(errno, path_);
    }
  }
  return filled;
}

}  // namespace kestrel
