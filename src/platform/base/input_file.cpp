#include "platform/base/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/base/runtime_error.h"

namespace kestrel {

namespace {

template <class ReadSome>
std::size_t Fill(std::size_t size, const std::string& path, ReadSome&& read_some) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t got = read_some(filled);
    if (got == 0) break;
    if (got > 0) {
      filled += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      throw ErrorFromErrno(errno, path);
    }
  }
  return filled;
}

bool IsSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

}  // namespace

InputFile::InputFile(const std::string& path)
    : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
  if (descriptor_ < 0) throw ErrorFromErrno(errno, path_);
  if (fstat(descriptor_, &opened_) == 0) return;
  const int error = errno;
  Close();
  throw ErrorFromErrno(error, path_);
}

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

void InputFile::RaiseChanged() const {
  throw RuntimeError(ErrorNumber::kPathFileAccess,
                     "Die Datei '" + path_ +
                         "' wurde geändert, während sie gelesen wurde. Bitte wiederholen Sie den Vorgang, wenn "
                         "kein anderes Programm mehr in sie schreibt.");
}

std::size_t InputFile::Read(char* bytes, std::size_t size) {
  return Fill(size, path_,
              [&](std::size_t filled) { return read(descriptor_, bytes + filled, size - filled); });
}

std::size_t InputFile::ReadAt(std::size_t offset, char* bytes, std::size_t size) const {
  return Fill(size, path_, [&](std::size_t filled) {
    return pread(descriptor_, bytes + filled, size - filled, static_cast<off_t>(offset + filled));
  });
}

}  // namespace kestrel
