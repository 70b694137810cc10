// An allocator for large tables that are read at random: asks the system for large memory pages, of which the
// processor can keep track and which are handed out at once instead of 4 KiB at a time. Small tables come from
// the heap.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace kestrel {

template <class T>
class LargePages {
 public:
  using value_type = T;

  LargePages() = default;
  template <class Other>
  explicit LargePages(const LargePages<Other>&) {}

  T* allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    const bool large = bytes >= kPage;
    void* const memory =
        large ? std::aligned_alloc(kPage, (bytes + kPage - 1) / kPage * kPage) : std::malloc(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    // A system that has none gives ordinary pages.
    if (large) madvise(memory, bytes, MADV_HUGEPAGE);
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t) { std::free(memory); }

  friend bool operator==(const LargePages&, const LargePages&) { return true; }

 private:
  static constexpr std::size_t kPage = std::size_t{2} << 20;
};

}  // namespace kestrel
