// The words of names, towns and streets that say nothing about who is meant, or something else than a name: what kinds a
// word is of, by one look for all of them, as nearly every word of an address is of none.
//
// Words are in folded letters (folded_text.h).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel::host {

// A bit each.
enum SpecialWordKind : std::uint16_t {
  kTitleWord = 1,
  kFillerWord = 2,
  kLegalFormWord = 4,
  kDepartmentWord = 8,
  kInChargeWord = 16,  // behind it stands whoever is in charge there, or where
  kBranchWord = 32,    // what stands behind it tells one branch of a company from another
  kGenerationWord = 64,
  kPartOfTownWord = 128,
  kKindOfStreetWord = 256,
};

struct SpecialWord {
  std::string_view word;
  std::uint16_t kinds;
};

// All of them, sorted; one that is of several kinds stands there several times.
std::span<const SpecialWord> SpecialWords();

// Of which kinds the word is; 0 for most.
std::uint16_t KindsOfWord(std::string_view word);

// A bit, the same one for all spellings of a legal form; kPartners for "Co" and the like; none for other words that stand
// beside one, and for all others.
constexpr std::uint32_t kPartners = std::uint32_t{1} << 31;
std::uint32_t LegalFormOf(std::string_view word);
// Whether one is another than the other, by the bits of the words of two names; not where a name has none.
constexpr bool DifferInLegalForm(std::uint32_t a, std::uint32_t b) {
  return (a & ~kPartners) != 0 && (b & ~kPartners) != 0 && ((a ^ b) & ~kPartners) != 0;
}
// Whether they are even those of two companies. Words are left out often, so not where one name has more of them; but a
// limited company ("GmbH") is another one than the partnership that it is a partner of ("GmbH & Co. KG"), unless that is just
// cut off ("GmbH & Co.").
bool AreOtherLegalForms(std::uint32_t a, std::uint32_t b);

}  // namespace kestrel::host
