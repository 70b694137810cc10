#include "platform/profile/profile_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kestrel {
namespace {

class Descriptor {
 public:
  // Without waiting: a pipe under this name must not stop the program.
  explicit Descriptor(const std::string& path)
      : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

// Whether everything up to the end could be read.
bool ReadToEnd(int descriptor, std::string& bytes) {
  constexpr std::size_t kChunk = 1 << 16;
  for (;;) {
    const std::size_t length = bytes.size();
    if (length > static_cast<std::size_t>(kMaxProfileBytes)) return false;
    bytes.resize(length + kChunk);
    const ssize_t got = ::read(descriptor, bytes.data() + length, kChunk);
    bytes.resize(length + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) return true;
    if (got < 0 && errno != EINTR) return false;
  }
}

}  // namespace

FileReading ReadProfileFile(const std::string& path) {
  FileReading reading;
  // Taken before anything is read: a change made from here on is stamped with this time or a later one.
  const std::int64_t now = StampClock();
  const Descriptor file(path);
  if (file.get() < 0) {
    reading.state = errno == ENOENT ? FileState::kMissing : FileState::kUnreadable;
    return reading;
  }
  reading.state = FileState::kUnreadable;
  struct stat before {};
  struct stat after {};
  if (::fstat(file.get(), &before) != 0 || !S_ISREG(before.st_mode) || before.st_size > kMaxProfileBytes) {
    return reading;
  }
  if (!ReadToEnd(file.get(), reading.bytes) || ::fstat(file.get(), &after) != 0) {
    reading.bytes.clear();
    return reading;
  }
  reading.state = FileState::kRead;
  reading.identity = FileIdentity(before);
  reading.trusted = reading.identity == FileIdentity(after) && ShowsEveryChange(reading.identity, now);
  return reading;
}

}  // namespace kestrel
