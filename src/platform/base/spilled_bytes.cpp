#include "platform/base/spilled_bytes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "kestrel/runtime_error.h"

namespace kestrel {

namespace {

constexpr const char* kScratchFile = "Zwischenablage für große Dateien";

}  // namespace

void SpilledBytes::Append(std::string_view bytes) {
  const std::size_t in_memory = std::min(bytes.size(), most_memory_ - memory_.size());
  memory_ += bytes.substr(0, in_memory);
  bytes.remove_prefix(in_memory);
  while (!bytes.empty()) {
    const std::size_t taken = std::min(bytes.size(), kBlockSize - tail_.size());
    tail_ += bytes.substr(0, taken);
    bytes.remove_prefix(taken);
    if (tail_.size() == kBlockSize) WriteTail();
  }
}

void SpilledBytes::WriteTail() {
  if (file_ == nullptr) file_.reset(std::tmpfile());
  if (file_ == nullptr) throw ErrorFromErrno(errno, kScratchFile);
  for (std::size_t done = 0; done < tail_.size();) {
    const ssize_t written = ::pwrite(fileno(file_.get()), tail_.data() + done, tail_.size() - done,
                                     static_cast<off_t>(spilled_ + done));
    if (written < 0 && errno != EINTR) throw ErrorFromErrno(errno, kScratchFile);
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  spilled_ += tail_.size();
  tail_.clear();
}

std::string_view SpilledBytes::BlockFrom(std::uint64_t offset) const {
  if (offset >= spilled_) {
    const std::uint64_t at = std::min<std::uint64_t>(offset - spilled_, tail_.size());
    return std::string_view(tail_).substr(static_cast<std::size_t>(at));
  }
  const std::uint64_t number = offset / kBlockSize;
  Block& block = blocks_[number % kBlocks];
  if (block.number != number || block.bytes.empty()) {
    block.bytes.clear();
    std::string bytes(kBlockSize, '\0');
    for (std::size_t done = 0; done < kBlockSize;) {
      const ssize_t got = ::pread(fileno(file_.get()), bytes.data() + done, kBlockSize - done,
                                  static_cast<off_t>(number * kBlockSize + done));
      if (got == 0 || (got < 0 && errno != EINTR)) throw RuntimeError(ErrorNumber::kDeviceIo);
      if (got > 0) done += static_cast<std::size_t>(got);
    }
    block.number = number;
    block.bytes = std::move(bytes);
  }
  return std::string_view(block.bytes).substr(static_cast<std::size_t>(offset % kBlockSize));
}

std::string_view SpilledBytes::View(std::uint64_t offset, std::size_t size) const {
  size = static_cast<std::size_t>(std::min<std::uint64_t>(size, this->size() - std::min(offset, this->size())));
  const auto from = [&](std::uint64_t at) {
    return at < memory_.size() ? std::string_view(memory_).substr(static_cast<std::size_t>(at))
                               : BlockFrom(at - memory_.size());
  };
  std::string_view part = from(offset);
  if (part.size() >= size) return part.substr(0, size);
  gathered_.clear();
  while (gathered_.size() < size)
    gathered_ += from(offset + gathered_.size()).substr(0, size - gathered_.size());
  return gathered_;
}

}  // namespace kestrel
