// Which fields and columns mean the same by their names: "Straße" and "Strasse", "PLZ" and "Postleitzahl".
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/export.h"

namespace kestrel {

// The name as names are compared: in upper case, umlauts and ß as two letters, of the other characters only letters
// and digits.
KESTREL_INTERNAL std::string FoldName(std::string_view name);

// Whether both are usual names of the same thing. A number at the end has to be the same; none is 1 ("Tel. 1" and
// "Telefon").
bool AreSynonyms(std::string_view a, std::string_view b);

// Positions of a field and of a column.
struct NamePair {
  std::size_t field;
  std::size_t column;
  friend bool operator==(const NamePair&, const NamePair&) = default;
};
// The columns whose names say that they hold what the fields do: by the same name, then by one that folds to the same,
// then by a synonym. `used` tells by position which columns have a field already: they, and one column for two fields,
// only come where the names themselves are the same. Where more than one synonym is to be had, none is taken, as
// nothing tells which one is meant. Last, a destination without fields for a person's names ("Bez1", "Bez2") takes the
// family name into the first and the first name into the second, where no other column is meant for them. `assigned`: the
// destination's other fields, which have something. In the order of the fields.
std::vector<NamePair> PairByName(std::span<const std::string> fields, std::span<const std::string> columns,
                                 std::vector<bool> used, std::span<const std::string> assigned = {});

}  // namespace kestrel
