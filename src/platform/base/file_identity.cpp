#include "kestrel/file_identity.h"

namespace kestrel {

namespace {

std::int64_t Nanoseconds(const struct timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

FileIdentity::FileIdentity(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(status.st_size),
      content_time(Nanoseconds(status.st_mtim)),
      status_time(Nanoseconds(status.st_ctim)) {}

}  // namespace kestrel
