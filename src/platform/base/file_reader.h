// A file that is read in pieces, at any place of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/file_descriptor.h"

namespace kestrel {

class FileReader {
 public:
  // Raises the numbers of file.h with the path. The file stays open as long as this lives.
  explicit FileReader(const std::string& path);
  // Bytes from elsewhere that are read as a file's.
  static FileReader Of(std::string_view bytes);

  // In bytes, as it was when the file was opened.
  std::uint64_t size() const { return size_; }
  // Reads `size` bytes from `offset` on into `buffer`; the number read, which is less only where the file ends.
  // Raises as opening does.
  std::size_t ReadAt(std::uint64_t offset, char* buffer, std::size_t size) const;

 private:
  FileReader() : file_(-1) {}

  std::uint64_t size_ = 0;
  FileDescriptor file_;  // none for bytes from elsewhere
  std::string path_;
  std::string bytes_;
};

}  // namespace kestrel
