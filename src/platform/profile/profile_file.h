// One reading of a profile file: its bytes, and how to tell later whether they are still the same.
#pragma once

#include <sys/types.h>

#include <string>

#include "kestrel/file_identity.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

enum class FileState {
  kMissing,
  kUnreadable,  // no permission or a device error
  kNoFile,      // no ordinary file: a folder, a pipe, a device
  kTooLarge,    // larger than kMaxProfileBytes
  kRead,
};

struct FileReading {
  FileState state = FileState::kMissing;
  int error = 0;      // errno of kUnreadable
  std::string bytes;  // empty unless kRead
  FileIdentity identity;
  // Whether an unchanged identity proves unchanged content. It does not while the time stamps are so young
  // that a change made after the reading could carry the same ones.
  bool trusted = false;
};

// No specification comes near this; a larger file is something else under a wrong name.
inline constexpr off_t kMaxProfileBytes = 64 << 20;

// Raises nothing but 7 (no memory).
FileReading ReadProfileFile(const std::string& path);

// Why a file that is there was not read, with its path.
RuntimeError ReadingError(const FileReading& reading, const std::string& path);

}  // namespace kestrel
