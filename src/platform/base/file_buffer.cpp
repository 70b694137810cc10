#include "platform/base/file_buffer.h"

#include <sys/mman.h>

#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel {

FileBuffer::FileBuffer(FileBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)) {}

FileBuffer& FileBuffer::operator=(FileBuffer&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(capacity_, other.capacity_);
  return *this;
}

FileBuffer::~FileBuffer() { Release(); }

void FileBuffer::Reserve(std::size_t capacity) {
  if (capacity <= capacity_) return;
  void* memory = data_ == nullptr
                     ? mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                     : mremap(data_, capacity_, capacity, MREMAP_MAYMOVE);
  if (memory == MAP_FAILED) throw RuntimeError(ErrorNumber::kOutOfMemory);
  data_ = static_cast<char*>(memory);
  capacity_ = capacity;
  madvise(memory, capacity, MADV_HUGEPAGE);  // a hint; refused, only the speed differs
}

void FileBuffer::Release() {
  if (data_ != nullptr) munmap(data_, capacity_);
  data_ = nullptr;
  capacity_ = 0;
}

}  // namespace kestrel
