#include "storage/address_fields.h"

#include <string_view>

namespace kestrel::host {

AddressFields::AddressFields(const Destination& destination) {
  std::size_t next = 0;
  for (const std::string_view name : {"PLZ", "Ort", "Strasse", "Bez1", "Bez2", "Bez3"}) {
    fields_[next++] = destination.FindField(name);
  }
  fields_[next] = destination.group_field;
}

IndexedAddress AddressFields::Of(const RecordValues& values) const {
  const auto text = [&](std::size_t index) {
    return fields_[index] ? TextOf(values[*fields_[index]]) : std::string_view();
  };
  return {text(0), text(1), text(2), {text(3), text(4), text(5)}, text(6)};
}

}  // namespace kestrel::host
