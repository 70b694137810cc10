#include "import/run_errors.h"

#include "log/import_log.h"
#include "mapping/value_conversion.h"

namespace kestrel {

void RunErrors::Count(RecordError error, const ErrorScope& scope, std::string_view where) {
  ++count_;
  const std::string whole = std::string(where).append(error.text);
  if (!logs_.WriteErrorProtocol(error.number, whole, "ImportStart", error.function)) {
    NoteUnlogged("Fehler " + std::to_string(error.number) + ": " + error.text, where);
  }
  outcomes_.Add(std::move(error), scope);
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
  std::string told(where);
  if (where.empty() && record_ != 0) told = "Datensatz " + std::to_string(record_) + ": ";
  unlogged_.push_back(told.append(text));
  if (tell_unlogged_) tell_unlogged_(unlogged_.back());
}

}  // namespace kestrel
