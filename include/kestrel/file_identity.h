// Which file it is, and of which time: what tells whether a file is still the one that was read.
#pragma once

#include <sys/stat.h>

#include <cstdint>

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

// The clock that file systems stamp files with, in nanoseconds since 1970.
std::int64_t StampClock();

// Whether every change made from `now` on will show in the identity. It need not while the time stamps are so
// young that a change could carry the same ones. `now` is StampClock() before the identity was asked for.
bool ShowsEveryChange(const FileIdentity& identity, std::int64_t now);

}  // namespace kestrel
