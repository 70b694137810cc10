// Errors that come to light after their record was handed over.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "kestrel/runtime_error.h"

namespace kestrel::host {

// Of one record, or of several in a row that are all lost. Records are counted from 1, as they are handed over.
struct LateError {
  std::int64_t first;
  std::int64_t last;
  RuntimeError error;
  std::string field = {};  // of the destination; empty where the error is not one field's
};

using LateErrors = std::deque<LateError>;

}  // namespace kestrel::host
