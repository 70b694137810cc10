// Words by which a column of addresses is usually called.
#pragma once

#include <string_view>

namespace kestrel {

// Whether the text is, or holds as one of its words, what address columns are called in German or English. Case,
// umlauts and digits do not count: "Str.", "STRASSE", "Bez1", "given_name", "Kundennummer".
bool HoldsHeadingWord(std::string_view text);

}  // namespace kestrel
