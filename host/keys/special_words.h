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

// A bit, the same one for all spellings of a legal form; none for words that only stand beside one, and for others.
std::uint32_t LegalFormOf(std::string_view word);

}  // namespace kestrel::host
