// The errors of one run: counted, each written to the error log under the procedure "ImportStart", and told as
// part of the outcomes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "import/error_limits.h"
#include "import/field_errors.h"
#include "import/run_outcomes.h"
#include "kestrel/runtime_error.h"
#include "log/import_log.h"

namespace kestrel {

class RunErrors final : public FieldErrors {
 public:
  // Both outlive this object.
  RunErrors(ImportLogs& logs, RunOutcomes& outcomes, const RunSettings& settings = {})
      : logs_(logs), outcomes_(outcomes), limits_(settings) {}

  // Runs one statement of the run. A failure is counted, logged with an empty function name, and the run
  // goes on with the next statement; returns whether the statement succeeded.
  template <class Statement>
  bool Try(Statement&& statement) {
    return Trap(std::forward<Statement>(statement), [this](const RuntimeError& error) { Count(error); });
  }

  // Counts, logs and tells. The log's row begins with `where`, which names the records that the error belongs
  // to where the import class has named them.
  void Count(RecordError error, const ErrorScope& scope = {}, std::string_view where = "");
  void Count(const RuntimeError& error) { Count(error, FieldValue{}); }
  void Count(const RuntimeError& error, const FieldValue& value) override;
  // The record at hand, which was handed over, is lost by it.
  void CountRejecting(const RuntimeError& error);
  void CountTypeMismatch(const FieldValue& field, std::string_view value) override;

  // Told with the record.
  void NoteCut(const std::string& field) override { outcomes_.at_hand().cut_fields.push_back(field); }

  void NoteHeldBack() { limits_.NoteHeldBack(); }

  std::int32_t count() const { return count_; }
  // Why no further record should be read; empty while there is no reason.
  const std::string& stop_reason() const { return limits_.stop_reason(); }
  // Behind the last error: rows that repeat the first and were held back are logged, unless one tells them all.
  void LogRepeated();

  // --- What the log does not take is told all the same ---

  // The errors that follow belong to this source record, counted from 1; 0 for none.
  void AtRecord(std::int32_t record) { record_ = record; }
  // Called with each of the first kMostUnlogged of them. Raises nothing.
  void OnUnlogged(std::function<void(const std::string&)> tell) { tell_unlogged_ = std::move(tell); }
  // From now on they are kept, as they come of what stops the run; told behind its reason, each or only their number.
  void HoldUnlogged() { held_from_ = unlogged_.size(); }
  void TellHeld(bool each);
  // Something else that the log has not taken, of the record at hand or of `where`.
  void NoteUnlogged(std::string_view text, std::string_view where = "");

  static constexpr std::size_t kMostUnlogged = 100;
  const std::vector<std::string>& unlogged() const { return unlogged_; }
  std::int32_t unlogged_count() const { return unlogged_count_; }

 private:
  struct LogRow {
    std::int64_t number;
    std::string text;  // with the names of records
    std::string function;
    std::string unlogged;  // what is told where the log does not take it, and where it belongs
    std::string where;
    LogDetails details;
  };
  void Log(const LogRow& row);
  std::string WhereTold(std::string_view where) const;
  LogDetails DetailsOf(const RecordError& error, const ErrorScope& scope) const;

  ImportLogs& logs_;
  RunOutcomes& outcomes_;
  std::int32_t count_ = 0;
  ErrorLimits limits_;
  std::vector<LogRow> repeated_;  // as long as they may be the same for every record
  std::int32_t record_ = 0;
  std::function<void(const std::string&)> tell_unlogged_;
  std::vector<std::string> unlogged_;
  std::optional<std::size_t> held_from_;  // of unlogged_
  std::int32_t unlogged_count_ = 0;
};

}  // namespace kestrel
