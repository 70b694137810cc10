// A file as the operating system hands it out.
#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>

namespace kestrel {

// Closes the file when it goes.
class FileDescriptor {
 public:
  // -1 for none.
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor();

  int get() const { return descriptor_; }
  // Closes now, so that a late error of the device is seen.
  bool Close();

 private:
  int descriptor_;
};

// Opens a file, but no folder, and tells what it is. Raises the numbers of file.h with the path.
FileDescriptor OpenForReading(const std::string& path, struct stat& status);

}  // namespace kestrel
