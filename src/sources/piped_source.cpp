#include "sources/piped_source.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"

namespace kestrel {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

std::string ScratchFolderOfSystem() {
  std::error_code error;
  const auto folder = std::filesystem::temp_directory_path(error);
  return error ? "/tmp" : folder.string();
}

int MakeNamelessFile(const std::string& folder) {
  const int descriptor = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor >= 0) return descriptor;
  // A file system that knows no such files.
  std::string pattern = JoinPath(folder, "kestrel-XXXXXX");
  const int named = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (named < 0) throw ErrorFromErrno(errno, folder);
  ::unlink(pattern.c_str());
  return named;
}

Descriptor OpenPipe(const std::string& path) {
  int descriptor = -1;
  do {
    // A socket cannot be opened by its name; the standard input is open. Who opens a pipe to read from it would
    // wait for a writer otherwise.
    descriptor = path == "/dev/stdin" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                      : ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) throw ErrorFromErrno(errno, path);
  return Descriptor(descriptor);
}

// Waits until there is something to read, or the end; says so once where it takes long.
void WaitForContent(int pipe, const std::string& path, const PipedSource::Tell& tell) {
  constexpr int kSoon = 1000;  // milliseconds
  constexpr int kForever = -1;
  pollfd polled = {pipe, POLLIN, 0};
  for (int wait = kSoon;;) {
    const int ready = ::poll(&polled, 1, wait);
    if (ready > 0) return;
    if (ready < 0 && errno != EINTR) throw ErrorFromErrno(errno, path);
    if (ready < 0 || wait == kForever) continue;
    if (tell)
      tell("Aus der Pipe ''" + path + "'' ist noch nichts gekommen; es wird gewartet. Strg+C bricht ab.");
    wait = kForever;
  }
}

RuntimeError CannotKeep(int error, const std::string& folder) {
  const RuntimeError reason = ErrorFromErrno(error, folder);
  return RuntimeError(reason.Number(), "Der Inhalt der Pipe kann nicht zwischengespeichert werden. " +
                                           reason.Description() +
                                           ". TMPDIR kann einen Ordner mit mehr Platz nennen.");
}

void WriteAll(int descriptor, const char* bytes, std::size_t size, const std::string& folder) {
  while (size > 0) {
    const ssize_t written = ::write(descriptor, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw CannotKeep(errno, folder);
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace

bool IsStream(const std::string& path) {
  return path == "/dev/stdin" || path.starts_with("/dev/fd/") || path.starts_with("/proc/") ||
         PipedSource::IsPipe(path);
}

bool PipedSource::IsPipe(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || (S_ISSOCK(status.st_mode) && path == "/dev/stdin");
}

PipedSource::PipedSource(const std::string& path, const Tell& tell) {
  const std::string folder = ScratchFolderOfSystem();
  const Descriptor pipe = OpenPipe(path);
  WaitForContent(pipe.get(), path, tell);
  // The standard input is as others left it, which share it.
  if (path != "/dev/stdin") ::fcntl(pipe.get(), F_SETFL, O_RDONLY);
  Descriptor file(MakeNamelessFile(folder));
  constexpr std::size_t kChunk = std::size_t{256} << 10;
  std::vector<char> buffer(kChunk);
  for (;;) {
    const ssize_t got = ::read(pipe.get(), buffer.data(), buffer.size());
    if (got == 0) break;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw ErrorFromErrno(errno, path);
    WriteAll(file.get(), buffer.data(), static_cast<std::size_t>(got), folder);
  }
  descriptor_ = file.Release();
}

PipedSource::~PipedSource() { ::close(descriptor_); }

std::string PipedSource::path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

}  // namespace kestrel
