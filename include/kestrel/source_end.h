// How far reading a source has come, and why it came no further.
#pragma once

#include <optional>

#include "kestrel/runtime_error.h"

namespace kestrel {

// How far reading has come.
enum class SourceState {
  kClosed,     // not opened
  kNotOpened,  // it could not be opened
  kOpen,       // somewhere before its end
  kAtEnd,      // all its records were seen
  kBrokenOff,  // it ended before its last record
};

// How far reading has come, with the reason.
struct SourceEnd {
  SourceState state = SourceState::kClosed;  // how far
  // The first failure; set exactly for kNotOpened and kBrokenOff.
  std::optional<RuntimeError> error;
};

}  // namespace kestrel
