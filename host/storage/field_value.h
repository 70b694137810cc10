// A destination field's text, converted to what its column stores.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "schema/destination.h"

namespace kestrel::host {

// Nothing (the column stays null or as it was), a number, or a text: a view of the record's, or an ISO date.
using StoredValue = std::variant<std::monostate, std::int64_t, double, std::string_view>;

// Ten characters "JJJJ-MM-TT"; the memory of a converted date.
struct IsoDate {
  char text[10];
};

namespace detail {
StoredValue ConvertOrRefuse(const DestinationField& field, std::string_view text, IsoDate& date);
}

// Converts `text` of a field that is not null.
//   whole number, real number   a number in German or English writing; nothing for an empty text
//   date                        JJJJMMTT with or without 000000, TT.MM.JJJJ or JJJJ-MM-TT to ISO; nothing for
//                               an empty text
//   text                        as it stands
// `date` must live as long as the result. Error 13 or 3421 with a sentence that names field and value.
inline StoredValue ConvertFieldText(const DestinationField& field, std::string_view text, IsoDate& date) {
  // Bytes are an upper bound for characters, so most texts need no counting.
  const bool fits = field.size == 0 || text.size() <= static_cast<std::size_t>(field.size);
  if (field.kind == FieldKind::kText && fits) return text;
  return detail::ConvertOrRefuse(field, text, date);
}

}  // namespace kestrel::host
