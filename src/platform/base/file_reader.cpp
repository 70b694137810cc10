#include "platform/base/file_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/base/runtime_error.h"

namespace kestrel {

namespace {

FileDescriptor OpenSized(const std::string& path, std::uint64_t& size) {
  struct stat status {};
  FileDescriptor file = OpenForReading(path, status);
  size = status.st_size > 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
  return file;
}

}  // namespace

FileReader::FileReader(const std::string& path) : file_(OpenSized(path, size_)), path_(path) {}

FileReader FileReader::Of(std::string_view bytes) {
  FileReader reader;
  reader.bytes_ = bytes;
  reader.size_ = bytes.size();
  return reader;
}

std::size_t FileReader::ReadAt(std::uint64_t offset, char* buffer, std::size_t size) const {
  if (file_.get() < 0) {
    if (offset >= bytes_.size()) return 0;
    return bytes_.copy(buffer, size, static_cast<std::size_t>(offset));
  }
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = ::pread(file_.get(), buffer + done, size - done, static_cast<off_t>(offset + done));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) throw ErrorFromErrno(errno, path_);
    if (got > 0) done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace kestrel
