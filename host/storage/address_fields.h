// Which fields of a destination make its duplicate keys.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "schema/destination.h"
#include "storage/address_index.h"
#include "storage/record_values.h"

namespace kestrel::host {

class AddressFields {
 public:
  explicit AddressFields(const Destination& destination);

  // PLZ, Ort, Strasse, Bez1 to Bez3 and the group; none for one that the destination lacks.
  const std::array<std::optional<std::size_t>, 7>& fields() const { return fields_; }
  // Views of the values.
  IndexedAddress Of(const RecordValues& values) const;

 private:
  std::array<std::optional<std::size_t>, 7> fields_;
  const bool joins_names_;
};

}  // namespace kestrel::host
