#include "storage/large_values.h"

#include "platform/base/grouped_number.h"

namespace kestrel::host {

namespace {

std::string Grouped(std::size_t bytes) { return GroupedNumber(static_cast<std::int64_t>(bytes)); }

}  // namespace

Refusal LargeValues::WhyTooLarge(const Destination& destination) const {
  if (of_record_ <= kMostOfRecord) return std::nullopt;
  const std::string& field = destination.fields[field_].name;
  return FieldError(
      ErrorNumber::kColumnType,
      "Der Wert im Feld '" + field + "' hat " + Grouped(largest_) +
          " Bytes; die Werte eines Datensatzes dürfen zusammen höchstens " + Grouped(kMostOfRecord) +
          " haben, damit die Datenbank sie aufnimmt. Kürzen Sie ihn in der Quelle, oder ordnen Sie "
          "dem Feld nichts zu.",
      field);
}

}  // namespace kestrel::host
