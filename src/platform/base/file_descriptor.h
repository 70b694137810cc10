// An open file of the system, closed with the object.
#pragma once

#include <unistd.h>

#include <utility>

namespace kestrel {

class FileDescriptor {
 public:
  // Takes what open() returned; a negative one is none.
  explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }
  // Closes now, so that a late error of the device is seen; false with errno.
  bool Close() { return ::close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

}  // namespace kestrel
