// Who is told of a field's errors while a record is made: the run, which counts and logs them, or a preview.
#pragma once

#include <string>
#include <string_view>

#include "kestrel/runtime_error.h"

namespace kestrel {

// The value that an error came up with. Views of the caller's; empty where it is not known.
struct FieldValue {
  std::string_view field = {};          // of the destination
  std::string_view source_column = {};  // none for a constant
  std::string_view raw_value = {};
};

class FieldErrors {
 public:
  // The field is not written, or stays in spite of it.
  virtual void Count(const RuntimeError& error, const FieldValue& value) = 0;
  // A value that does not fit its field (number 10005). `value` is what would have been written.
  virtual void CountTypeMismatch(const FieldValue& field, std::string_view value) = 0;
  // A value that is longer than its field: no error.
  virtual void NoteCut(const std::string& field) = 0;

 protected:
  ~FieldErrors() = default;
};

}  // namespace kestrel
