#include "import/run_errors.h"

#include "import/value_conversion.h"
#include "log/import_log.h"

namespace kestrel {

void RunErrors::Count(std::int64_t number, std::string_view text, std::string_view function,
                      std::string_view where) {
  ++count_;
  const std::string whole = std::string(where).append(text);
  if (WriteErrorProtocol(session_, number, whole, "ImportStart", function)) return;
  NoteUnlogged("Fehler " + std::to_string(number) + ": " + std::string(text), where);
}

void RunErrors::CountTypeMismatch(std::string_view field_name, std::string_view value) {
  Count(kTypeMismatchNumber, TypeMismatchText(field_name, value), "ImportRecord");
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
