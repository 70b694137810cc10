// Which file it is, and of which time: what tells whether a file is still the one that was read.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "kestrel/export.h"

namespace kestrel {

// What changes when a file does. Times are nanoseconds since 1970.
struct KESTREL_EXPORT FileIdentity {
  FileIdentity() = default;
  // As stat told it.
  explicit FileIdentity(const struct stat& status);
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;

  dev_t device = 0;               // the file system
  ino_t inode = 0;                // the file on it
  off_t size = 0;                 // in bytes
  std::int64_t content_time = 0;  // when its content was changed last (mtime)
  std::int64_t status_time = 0;   // when anything of it was, which no program can set back (ctime)
};

}  // namespace kestrel
