#include "storage/address_fields.h"

#include <algorithm>
#include <string_view>

namespace kestrel::host {

AddressFields::AddressFields(const Destination& destination) : joins_names_(destination.joins_names) {
  std::ranges::copy(destination.key_fields, fields_.begin());
  fields_.back() = destination.group_field;
}

IndexedAddress AddressFields::Of(const RecordValues& values) const {
  const auto text = [&](std::size_t index) {
    return fields_[index] ? TextOf(values[*fields_[index]]) : std::string_view();
  };
  return {text(0), text(1), text(2), {text(3), text(4), text(5)}, text(6), joins_names_};
}

}  // namespace kestrel::host
