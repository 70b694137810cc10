// How alike two words are. Words are compared byte by byte, so fold them before (folded_text.h).
#pragma once

#include <cstddef>
#include <string_view>

namespace kestrel::host {

// How many letters must be inserted, deleted, replaced or exchanged with their neighbour to make one word of the other
// (F. Damerau, "A technique for computer detection and correction of spelling errors", CACM 7 (1964); no letter is
// touched twice). Words are looked at up to 63 letters.
std::size_t EditDistance(std::string_view a, std::string_view b);

// From 0 to 1, the greater the more letters they share in nearly the same places, above all at their beginnings (M. Jaro,
// JASA 84 (1989); W. Winkler, "String Comparator Metrics and Enhanced Decision Rules in the Fellegi-Sunter Model of Record
// Linkage", 1990). 1 for equal words, also for two empty ones. Words are looked at up to 63 letters.
double JaroWinkler(std::string_view a, std::string_view b);

}  // namespace kestrel::host
