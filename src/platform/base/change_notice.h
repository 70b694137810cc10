// Whether a file has been touched, known without asking the system each time.
//
// The system notes a change of the file (inotify) before the call that made it returns. A descriptor that waits for
// such notes (epoll) is asked for by asynchronous I/O, whose answer the system puts into memory of this process, within
// that same call. So whoever looks at that memory sees every change that was complete before, as a call would; it costs
// nothing, where the cheapest call takes longer than reading a line.
//
// Invariants
//  1. HasCome() is false only while everything that can change the file would be noted: nobody has it open for writing,
//     so nobody can write into it through memory either, which is not noted; and opening it is.
//  2. Only on file systems of this machine, as what another one changes is not noted. All others, and systems that lack
//     one of the parts, have no notices: HasCome() stays true then.
#pragma once

#include <linux/aio_abi.h>

#include <atomic>
#include <cstdint>

#include "platform/base/file_descriptor.h"

namespace kestrel {

class ChangeNotice {
 public:
  ChangeNotice() = default;
  ChangeNotice(const ChangeNotice&) = delete;
  ChangeNotice& operator=(const ChangeNotice&) = delete;
  // Takes some milliseconds where a notice was ever awaited, which the system spends waiting.
  ~ChangeNotice();

  // Waits for the next notice of this file, which is open for reading only and stays open meanwhile. What has changed
  // before is not noticed: look at the file after this call. Whether a notice can be had.
  bool Await(const FileDescriptor& file);
  // Whether the file was opened, changed, replaced, renamed or removed since Await, or none is awaited.
  bool HasCome() const {
    return ring_ == nullptr || !is_awaited_ ||
           std::atomic_ref(ring_->tail).load(std::memory_order_acquire) != seen_;
  }

 private:
  // What the system shows of the answers of asynchronous I/O: the head of its memory.
  struct Ring {
    std::uint32_t id;
    std::uint32_t size;
    std::uint32_t head;
    std::uint32_t tail;
    std::uint32_t magic;
    std::uint32_t compatible_features;
    std::uint32_t incompatible_features;
    std::uint32_t header_length;
  };

  bool Open();
  bool WatchFile(const FileDescriptor& file);
  void TakeAnswer();
  bool AskForNext();

  FileDescriptor notes_;
  FileDescriptor waiter_;
  int watched_ = -1;
  aio_context_t context_ = 0;
  Ring* ring_ = nullptr;  // at context_, the system's
  std::uint32_t seen_ = 0;
  iocb question_{};
  bool is_asked_ = false;
  bool is_awaited_ = false;
};

}  // namespace kestrel
