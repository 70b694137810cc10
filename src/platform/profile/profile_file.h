// One reading of a profile file: its bytes, and how to tell later whether they are still the same.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace kestrel {

// What changes when a file does. Times are nanoseconds since 1970.
struct FileIdentity {
  FileIdentity() = default;
  explicit FileIdentity(const struct stat& status);
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;

  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t content_time = 0;
  std::int64_t status_time = 0;
};

enum class FileState {
  kMissing,
  kUnreadable,  // no permission, no ordinary file, larger than kMaxProfileBytes, or a device error
  kRead,
};

struct FileReading {
  FileState state = FileState::kMissing;
  std::string bytes;  // empty unless kRead
  FileIdentity identity;
  // Whether an unchanged identity proves unchanged content. It does not while the time stamps are so young
  // that a change made after the reading could carry the same ones.
  bool trusted = false;
};

// No specification comes near this; a larger file is something else under a wrong name.
inline constexpr off_t kMaxProfileBytes = 64 << 20;

// Raises nothing but 7 (no memory).
FileReading ReadProfileFile(const std::string& path);

}  // namespace kestrel
