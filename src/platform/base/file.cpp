#include "platform/base/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/base/input_file.h"
#include "platform/base/runtime_error.h"

namespace kestrel {

namespace {

constexpr std::string_view kSeparators = "\\/";

class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }
  // Closes now, so that a late error of the device is seen.
  bool Close() { return ::close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

FileDescriptor OpenForReading(const std::string& path, struct stat& status) {
  if (::stat(path.c_str(), &status) != 0) throw ErrorFromErrno(errno, path);
  RequireOrdinaryFile(status, path);
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) throw ErrorFromErrno(errno, path);
  RequireOrdinaryFile(status, path);
  return file;
}

// Reads at most `size` bytes; 0 at the end of the file.
std::size_t ReadSome(const FileDescriptor& file, char* buffer, std::size_t size, const std::string& path) {
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer, size);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) throw ErrorFromErrno(errno, path);
  }
}

void WriteAll(const FileDescriptor& file, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t written = ::write(file.get(), content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throw ErrorFromErrno(errno, path);
    }
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

// The file a link names, so that replacing it leaves the link in place; a missing file is its own target.
std::string ResolveLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
  return real == nullptr ? path : std::string(real.get());
}

// Makes a rename last: the folder's own entry is on the device.
void FlushFolderOf(const std::string& path) {
  const std::size_t separator = path.rfind('/');
  std::string folder = ".";
  if (separator != std::string::npos) folder = separator == 0 ? "/" : path.substr(0, separator);
  const FileDescriptor handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some file systems cannot flush a folder; the rename has happened all the same.
  if (handle.get() >= 0) ::fsync(handle.get());
}

// A file beside its destination that takes the destination's place at the end or disappears.
class Replacement {
 public:
  explicit Replacement(std::string destination)
      : destination_(std::move(destination)),
        sibling_(destination_ + ".XXXXXX"),
        file_(::mkostemp(sibling_.data(), O_CLOEXEC)) {
    if (file_.get() < 0) throw ErrorFromErrno(errno, destination_);
    made_ = true;
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (made_) ::unlink(sibling_.c_str());
  }

  const FileDescriptor& file() const { return file_; }

  void TakeModeAndOwner(const struct stat& status) {
    // The owner first, as changing it clears bits of the mode. Only the superuser may give a file away; the
    // content matters more than its owner, so a refusal is no error.
    if (::fchown(file_.get(), status.st_uid, status.st_gid) != 0 && errno != EPERM) {
      throw ErrorFromErrno(errno, destination_);
    }
    SetMode(status.st_mode & 07777);
  }
  void SetMode(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0) throw ErrorFromErrno(errno, destination_);
  }

  void Commit() {
    if (::fsync(file_.get()) != 0 || !file_.Close()) throw ErrorFromErrno(errno, destination_);
    if (::rename(sibling_.c_str(), destination_.c_str()) != 0) throw ErrorFromErrno(errno, destination_);
    made_ = false;
    FlushFolderOf(destination_);
  }

 private:
  std::string destination_;
  std::string sibling_;
  FileDescriptor file_;
  bool made_ = false;
};

mode_t UsualMode() {
  // The mask can only be read by setting it.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

}  // namespace

std::string FileNameOfPath(std::string_view path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

std::string GetFolderOfPath(std::string_view path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return std::string(separator == std::string_view::npos ? path : path.substr(0, separator));
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  if (folder.empty()) return std::string(name);
  std::string path(folder);
  if (kSeparators.find(path.back()) == std::string_view::npos) path += '/';
  return path.append(name);
}

bool FileExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool FolderExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void CopyFile(const std::string& source, const std::string& destination) {
  struct stat status {};
  const FileDescriptor from = OpenForReading(source, status);
  const std::string target = ResolveLinks(destination);
  struct stat existing {};
  const bool replaces = ::stat(target.c_str(), &existing) == 0;
  if (replaces && S_ISDIR(existing.st_mode)) throw ErrorFromErrno(EISDIR, destination);
  if (replaces && existing.st_dev == status.st_dev && existing.st_ino == status.st_ino) return;

  Replacement copy(target);
  constexpr std::size_t kChunk = 1 << 20;
  std::string buffer(kChunk, '\0');
  for (;;) {
    const std::size_t got = ReadSome(from, buffer.data(), buffer.size(), source);
    if (got == 0) break;
    WriteAll(copy.file(), std::string_view(buffer).substr(0, got), destination);
  }
  if (replaces) {
    copy.TakeModeAndOwner(existing);
  } else {
    copy.SetMode(status.st_mode & 0777);
  }
  copy.Commit();
}

void DeleteFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) throw ErrorFromErrno(errno, path);
}

void MakeWritable(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) throw ErrorFromErrno(errno, path);
  const mode_t mode = (status.st_mode & 07777) | S_IRUSR | S_IWUSR;
  if (mode != (status.st_mode & 07777) && ::chmod(path.c_str(), mode) != 0) throw ErrorFromErrno(errno, path);
}

void CreateFolders(const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string folder = path.substr(0, end);
    if (::mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) throw ErrorFromErrno(errno, folder);
    if (end == std::string::npos) break;
  }
  if (!FolderExists(path)) throw ErrorFromErrno(ENOTDIR, path);
}

std::vector<std::string> ListFiles(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> handle(::opendir(folder.c_str()), &::closedir);
  if (handle == nullptr) {
    if (errno == ENOENT)
      throw RuntimeError(ErrorNumber::kPathNotFound,
                         std::string(DescriptionOf(ErrorNumber::kPathNotFound)) + ": " + folder);
    throw ErrorFromErrno(errno, folder);
  }
  std::vector<std::string> files;
  while (const dirent* entry = ::readdir(handle.get())) {
    std::string path = JoinPath(folder, entry->d_name);
    if (FileExists(path)) files.push_back(std::move(path));
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string ReadWholeFile(const std::string& path) {
  struct stat status {};
  const FileDescriptor file = OpenForReading(path, status);
  std::string content;
  // One byte more than the reported size, so that the end is seen without growing.
  std::size_t capacity = status.st_size > 0 ? static_cast<std::size_t>(status.st_size) + 1 : 4096;
  std::size_t length = 0;
  for (;;) {
    content.resize(capacity);
    while (length < capacity) {
      const std::size_t got = ReadSome(file, content.data() + length, capacity - length, path);
      if (got == 0) {
        content.resize(length);
        return content;
      }
      length += got;
    }
    capacity *= 2;
  }
}

FileContent FileContent::CopyOf(std::string_view bytes) {
  FileContent content;
  content.copy_ = std::make_unique_for_overwrite<char[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), content.copy_.get());
  content.bytes_ = {content.copy_.get(), bytes.size()};
  return content;
}

FileContent ReadFileContent(const std::string& path) {
  struct stat status {};
  const FileDescriptor file = OpenForReading(path, status);
  FileContent content;
  FileBuffer& buffer = content.buffer_;
  std::size_t length = 0;
  buffer.Reserve(status.st_size > 0 ? static_cast<std::size_t>(status.st_size) + 1 : 4096);
  for (;;) {
    if (length == buffer.capacity()) buffer.Reserve(2 * buffer.capacity());
    const std::size_t got = ReadSome(file, buffer.data() + length, buffer.capacity() - length, path);
    if (got == 0) break;
    length += got;
  }
  content.bytes_ = {buffer.data(), length};
  return content;
}

void WriteFileAtomically(const std::string& path, std::string_view content) {
  const std::string target = ResolveLinks(path);
  struct stat existing {};
  const bool replaces = ::stat(target.c_str(), &existing) == 0;
  if (replaces && S_ISDIR(existing.st_mode)) throw ErrorFromErrno(EISDIR, path);
  // A file the user may not write is not replaced either, though the folder would allow it.
  if (replaces && ::access(target.c_str(), W_OK) != 0) throw ErrorFromErrno(errno, path);
  Replacement replacement(target);
  WriteAll(replacement.file(), content, path);
  if (replaces) {
    replacement.TakeModeAndOwner(existing);
  } else {
    replacement.SetMode(UsualMode());
  }
  replacement.Commit();
}

}  // namespace kestrel
