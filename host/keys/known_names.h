// Names that many people bear: what they share by chance, and what tells two people apart.
#pragma once

#include <string_view>

namespace kestrel::host {

// Of folded words (folded_text.h). The first names that are common in German telephone books and registries of births, with their other
// spellings.
bool IsFirstName(std::string_view word);
// Both are known, and neither is a spelling of the other: ANDREA and ANDREAS, ANNA and ANNE, but not STEFAN and STEPHAN.
bool AreOtherFirstNames(std::string_view a, std::string_view b);
// The commonest surnames, each of one person in a thousand or more; and words that many companies have.
bool IsCommonName(std::string_view word);
// The beginnings of streets that most towns have: HAUPT, BAHNHOF.
bool IsCommonStreet(std::string_view word);
// The German towns of more than a hundred thousand people, by the word that they are known by.
bool IsLargeTown(std::string_view word);

}  // namespace kestrel::host
