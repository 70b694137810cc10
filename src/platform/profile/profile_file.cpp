#include "platform/profile/profile_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/base/file_descriptor.h"
#include "platform/base/file_stamp.h"

namespace kestrel {
namespace {

// Adds what the file holds from where it stands; false with errno, EFBIG for more than there may be.
bool ReadToEnd(const FileDescriptor& file, std::string& bytes) {
  constexpr std::size_t kChunk = 1 << 16;
  for (;;) {
    const std::size_t length = bytes.size();
    if (length > static_cast<std::size_t>(kMaxProfileBytes)) {
      errno = EFBIG;
      return false;
    }
    bytes.resize(length + kChunk);
    const ssize_t got = ::read(file.get(), bytes.data() + length, kChunk);
    bytes.resize(length + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) return true;
    if (got < 0 && errno != EINTR) return false;
  }
}

FileReading NotRead(FileState state, int error = 0) {
  FileReading reading;
  reading.state = state;
  reading.error = error;
  return reading;
}

// By the error of a system call.
FileReading NotRead(int error) {
  if (error == ENOENT || error == ENOTDIR) return NotRead(FileState::kMissing);
  if (error == EFBIG) return NotRead(FileState::kTooLarge);
  return NotRead(FileState::kUnreadable, error);
}

}  // namespace

FileReading ReadProfileFile(const std::string& path) {
  // Taken before anything is read: a change made from here on is stamped with this time or a later one.
  const std::int64_t now = StampClock();
  // Without waiting: a pipe under this name must not stop the program.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat before {};
  if (!file.IsOpen() || ::fstat(file.get(), &before) != 0) return NotRead(errno);
  if (!S_ISREG(before.st_mode)) return NotRead(FileState::kNoFile);
  if (before.st_size > kMaxProfileBytes) return NotRead(FileState::kTooLarge);
  FileReading reading;
  struct stat after {};
  if (!ReadToEnd(file, reading.bytes) || ::fstat(file.get(), &after) != 0) return NotRead(errno);
  reading.state = FileState::kRead;
  reading.identity = FileIdentity(before);
  reading.trusted = reading.identity == FileIdentity(after) && ShowsEveryChange(reading.identity, now);
  return reading;
}

RuntimeError ReadingError(const FileReading& reading, const std::string& path) {
  const auto cannot_be_used = [&](const char* reason) {
    return RuntimeError(ErrorNumber::kPathFileAccess,
                        std::string(DescriptionOf(ErrorNumber::kPathFileAccess)) + ": " + path + " " + reason);
  };
  switch (reading.state) {
    case FileState::kNoFile: return cannot_be_used("ist keine gewöhnliche Datei");
    case FileState::kTooLarge: return cannot_be_used("ist größer als 64 MiB und keine Importspezifikation");
    default: return ErrorFromErrno(reading.error, path);
  }
}

}  // namespace kestrel
