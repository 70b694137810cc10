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

// Converts `text` of a field that is not null.
//   whole number, real number   a number in German or English writing; nothing for an empty text
//   date                        JJJJMMTT with or without 000000, TT.MM.JJJJ or JJJJ-MM-TT to ISO; nothing for
//                               an empty text
//   text                        as it stands
// `date` must live as long as the result. Error 13 or 3421 with a sentence that names field and value.
StoredValue ConvertFieldText(const DestinationField& field, std::string_view text, IsoDate& date);

}  // namespace kestrel::host
