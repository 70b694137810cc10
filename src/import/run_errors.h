// The errors of one run: counted, and each written to the error log under the procedure "ImportStart".
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

  // Counts and logs. `function` is the import class's member, or empty; `where`, in front of the text, names
  // the records that the error belongs to where that is not the one at hand.
  void Count(std::int64_t number, std::string_view text, std::string_view function,
             std::string_view where = "");
  void Count(const RuntimeError& error) { Count(error.Number(), error.Description(), ""); }
  // A value that does not fit its field (number 10005).
  void CountTypeMismatch(std::string_view field_name, std::string_view value);

  std::int32_t count() const { return count_; }

  // --- What the log does not take is told all the same ---

  // The errors that follow belong to this source record, counted from 1; 0 for none.
  void AtRecord(std::int32_t record) { record_ = record; }
  // Called with each of the first kMostUnlogged of them. Raises nothing.
  void OnUnlogged(std::function<void(const std::string&)> tell) { tell_unlogged_ = std::move(tell); }
  // Something else that the log has not taken, of the record at hand or of `where`.
  void NoteUnlogged(std::string_view text, std::string_view where = "");

  static constexpr std::size_t kMostUnlogged = 100;
  const std::vector<std::string>& unlogged() const { return unlogged_; }
  std::int32_t unlogged_count() const { return unlogged_count_; }

 private:
  Session& session_;
  std::int32_t count_ = 0;
  std::int32_t record_ = 0;
  std::function<void(const std::string&)> tell_unlogged_;
  std::vector<std::string> unlogged_;
  std::int32_t unlogged_count_ = 0;
};

}  // namespace kestrel
