#include "platform/base/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/file_descriptor.h"
#include "platform/base/input_file.h"
#include "platform/base/replacement.h"

namespace kestrel {

namespace {

constexpr std::string_view kSeparators = "\\/";

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

}  // namespace

std::string FileNameOfPath(std::string_view path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

std::string GetFolderOfPath(std::string_view path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return std::string(separator == std::string_view::npos ? path : path.substr(0, separator));
}

std::string ParentFolder(std::string_view path) {
  while (path.size() > 1 && kSeparators.find(path.back()) != std::string_view::npos) path.remove_suffix(1);
  const std::size_t separator = path.find_last_of(kSeparators);
  if (separator == std::string_view::npos) return ".";
  return std::string(path.substr(0, separator == 0 ? 1 : separator));
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

bool IsMissing(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

void CopyFile(const std::string& source, const std::string& destination, std::optional<mode_t> mode) {
  struct stat status {};
  const FileDescriptor from = OpenForReading(source, status);
  struct stat existing {};
  const bool replaces = ::stat(destination.c_str(), &existing) == 0;
  if (replaces && existing.st_dev == status.st_dev && existing.st_ino == status.st_ino) return;

  Replacement copy(destination, mode.value_or(status.st_mode & 0777));
  if (mode) copy.SetMode(*mode);
  constexpr std::size_t kChunk = 1 << 20;
  std::string buffer(kChunk, '\0');
  for (;;) {
    const std::size_t got = ReadSome(from, buffer.data(), buffer.size(), source);
    if (got == 0) break;
    copy.Write(std::string_view(buffer).substr(0, got));
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

void WriteFileAtomically(const std::string& path, std::string_view content, std::optional<mode_t> mode) {
  // A file the user may not write is not replaced either, though the folder would allow it.
  if (::access(path.c_str(), W_OK) != 0 && errno != ENOENT) throw ErrorFromErrno(errno, path);
  Replacement replacement(path, mode);
  replacement.Write(content);
  replacement.Commit();
}

void SweepLeftovers(const std::string& folder) { Replacement::Sweep(folder); }

}  // namespace kestrel
