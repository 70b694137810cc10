#include "import/run_errors.h"

#include "import/value_conversion.h"
#include "log/import_log.h"

namespace kestrel {

void RunErrors::Count(std::int64_t number, std::string_view text, std::string_view function) {
  ++count_;
  WriteErrorProtocol(session_, number, text, "ImportStart", function);
}

void RunErrors::CountTypeMismatch(std::string_view field_name, std::string_view value) {
  Count(kTypeMismatchNumber, TypeMismatchText(field_name, value), "ImportRecord");
}

}  // namespace kestrel
