// What the fuzzers share.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/runtime_error.h"
#include "platform/base/file_descriptor.h"

namespace kestrel::fuzz {

inline std::string BytesAsString(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A file with these bytes, which no disk holds.
class FileInMemory {
 public:
  explicit FileInMemory(std::string_view bytes) : file_(::memfd_create("fuzz", MFD_CLOEXEC)) {
    if (::write(file_.get(), bytes.data(), bytes.size()) < 0) throw ErrorFromErrno(errno, path());
  }
  std::string path() const { return "/proc/self/fd/" + std::to_string(file_.get()); }

 private:
  FileDescriptor file_;
};

// Runs a step that may fail in words; anything else that it raises is the fuzzer's find.
template <class Step>
void MayFail(Step&& step) {
  try {
    step();
  } catch (const RuntimeError&) {
    return;
  }
}

// Reads the cells of a row.
template <class ReadCell>
void ReadCells(std::size_t columns, ReadCell&& read) {
  for (std::size_t column = 0; column < columns; ++column) MayFail([&] { read(column); });
}

}  // namespace kestrel::fuzz
