// The errors of one run: counted, and each written to the error log under the procedure "ImportStart".
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "component/session.h"
#include "platform/base/runtime_error.h"

namespace kestrel {

class RunErrors {
 public:
  // The session outlives this object.
  explicit RunErrors(Session& session) : session_(session) {}

  // Runs one statement of the run. A failure is counted, logged with an empty function name, and the run
  // goes on with the next statement; returns whether the statement succeeded.
  template <class Statement>
  bool Try(Statement&& statement) {
    return Trap(std::forward<Statement>(statement), [this](const RuntimeError& error) { Count(error); });
  }

  // Counts and logs. `function` is the import class's member, or empty.
  void Count(std::int64_t number, std::string_view text, std::string_view function);
  void Count(const RuntimeError& error) { Count(error.Number(), error.Description(), ""); }
  // A value that does not fit its field (number 10005).
  void CountTypeMismatch(std::string_view field_name, std::string_view value);

  std::int32_t count() const { return count_; }

 private:
  Session& session_;
  std::int32_t count_ = 0;
};

}  // namespace kestrel
