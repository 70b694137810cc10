// Which file it is, and of which time: what tells whether a file is still the one that was read.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "kestrel/export.h"

namespace kestrel {

// What changes when a file does. Times are nanoseconds since 1970.
struct KESTREL_EXPORT FileIdentity {
  FileIdentity() = default;
  explicit FileIdentity(const struct stat& status);
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;

  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t content_time = 0;
  std::int64_t status_time = 0;
};

}  // namespace kestrel
