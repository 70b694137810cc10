// Memory for a whole file: grows without being copied, and asks the system for large pages, as touching
// 150 MB in small ones for the first time takes longer than reading the file.
#pragma once

#include <cstddef>

namespace kestrel {

class FileBuffer {
 public:
  FileBuffer() = default;
  FileBuffer(FileBuffer&& other) noexcept;
  FileBuffer& operator=(FileBuffer&& other) noexcept;
  ~FileBuffer();

  // At least `capacity` bytes, the present ones kept and new ones 0. Moves the memory. Error 7.
  void Reserve(std::size_t capacity);
  // Gives the memory back.
  void Release();

  char* data() { return data_; }
  const char* data() const { return data_; }
  std::size_t capacity() const { return capacity_; }

 private:
  char* data_ = nullptr;
  std::size_t capacity_ = 0;
};

}  // namespace kestrel
