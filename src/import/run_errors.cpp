#include "import/run_errors.h"

#include <algorithm>
#include <span>

#include "mapping/value_conversion.h"
#include "platform/base/counted.h"

namespace kestrel {

LogDetails RunErrors::DetailsOf(const RecordError& error, const ErrorScope& scope) const {
  LogDetails details;
  const auto add = [&](const char* name, const std::string& text) {
    if (!text.empty()) details.push_back({name, text});
  };
  if (scope.of == ErrorScope::Of::kRecords) {
    const std::int32_t first = outcomes_.SourceRecord(scope.first);
    const std::int32_t last = outcomes_.SourceRecord(scope.last);
    add("Record", std::to_string(first));
    if (last != first) add("LastRecord", std::to_string(last));
  } else if (record_ != 0 && outcomes_.IsOfRecordAtHand(scope)) {
    add("Record", std::to_string(record_));
  }
  add("Field", error.field);
  add("SourceColumn", error.source_column);
  add("RawValue", error.raw_value);
  return details;
}

void RunErrors::Count(RecordError error, const ErrorScope& scope, std::string_view where) {
  ++count_;
  LogRow row{error.number,     std::string(where).append(error.text),
             error.function,   "Fehler " + std::to_string(error.number) + ": " + error.text,
             WhereTold(where), DetailsOf(error, scope)};
  std::int32_t first = 0;
  std::int32_t last = 0;
  if (scope.of == ErrorScope::Of::kRecords) {
    first = scope.first;
    last = scope.last;
  } else if (scope.of == ErrorScope::Of::kRejectedRecord) {
    first = last = outcomes_.handed_over();
  }
  if (limits_.Add(error, first, last, count_)) {
    repeated_.push_back(std::move(row));
  } else {
    LogRepeated();
    Log(row);
  }
  outcomes_.Add(std::move(error), scope);
}

void RunErrors::Log(const LogRow& row) {
  if (!logs_.WriteErrorProtocol(row.number, row.text, "ImportStart", row.function, row.details)) {
    NoteUnlogged(row.unlogged, row.where);
  }
}

void RunErrors::LogRepeated() {
  for (const LogRow& row : std::exchange(repeated_, {})) {
    if (!limits_.are_all_the_same()) Log(row);
  }
}

void RunErrors::CountRejecting(const RuntimeError& error) {
  Count({.number = error.Number(), .text = error.Description()}, {ErrorScope::Of::kRejectedRecord});
}

std::string RunErrors::WhereTold(std::string_view where) const {
  if (!where.empty() || record_ == 0) return std::string(where);
  return "Datensatz " + std::to_string(record_) + ": ";
}

void RunErrors::Count(const RuntimeError& error, const FieldValue& value) {
  Count({.number = error.Number(),
         .text = error.Description(),
         .field = std::string(value.field),
         .source_column = std::string(value.source_column),
         .raw_value = std::string(value.raw_value)});
}

void RunErrors::CountTypeMismatch(const FieldValue& field, std::string_view value) {
  Count({.number = kTypeMismatchNumber,
         .text = TypeMismatchText(field.field, value),
         .function = "ImportRecord",
         .field = std::string(field.field),
         .source_column = std::string(field.source_column),
         .raw_value = std::string(field.raw_value)});
}

void RunErrors::NoteUnlogged(std::string_view text, std::string_view where) {
  ++unlogged_count_;
  if (unlogged_.size() == kMostUnlogged) return;
  unlogged_.push_back(WhereTold(where).append(text));
  if (tell_unlogged_ && !held_from_) tell_unlogged_(unlogged_.back());
}

void RunErrors::TellHeld(bool each) {
  if (!tell_unlogged_ || !held_from_ || *held_from_ == unlogged_.size()) return;
  const auto held = std::span(unlogged_).subspan(*held_from_);
  if (each) {
    std::ranges::for_each(held, tell_unlogged_);
  } else {
    tell_unlogged_(Counted(static_cast<std::int64_t>(held.size()), "Fehler", "Fehler") + " aus diesem Grund");
  }
}

}  // namespace kestrel
