// How alike two words are. Words are compared byte by byte, so fold them before (folded_text.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel::host {

// So many letters of a word are looked at.
constexpr std::size_t kMostLetters = 63;

// Which letters A to Z a word has, a bit each; a few more for digits and all others together. Of the letters looked at.
constexpr std::uint32_t LettersOf(std::string_view word) {
  std::uint32_t letters = 0;
  for (const char c : word.substr(0, kMostLetters)) {
    letters |= 1U << (c >= 'A' && c <= 'Z' ? c - 'A' : c >= '0' && c <= '9' ? 26 + (c - '0') % 5 : 31);
  }
  return letters;
}

// How many there are. Counted here, as std::popcount is a call where the processor is not known to have an instruction for it.
constexpr std::size_t CountOf(std::uint32_t letters) {
  letters -= letters >> 1 & 0x55555555U;
  letters = (letters & 0x33333333U) + (letters >> 2 & 0x33333333U);
  return ((letters + (letters >> 4)) & 0x0F0F0F0FU) * 0x01010101U >> 24;
}

// How many letters must be inserted, deleted, replaced or exchanged with their neighbour to make one word of the other
// (F. Damerau, "A technique for computer detection and correction of spelling errors", CACM 7 (1964); no letter is
// touched twice). Words are looked at up to 63 letters.
std::size_t EditDistance(std::string_view a, std::string_view b);
// Whether EditDistance is 1.
bool IsOneEditApart(std::string_view a, std::string_view b);

// From 0 to 1, the greater the more letters they share in nearly the same places, above all at their beginnings (M. Jaro,
// JASA 84 (1989); W. Winkler, "String Comparator Metrics and Enhanced Decision Rules in the Fellegi-Sunter Model of Record
// Linkage", 1990). 1 for equal words, also for two empty ones. Words are looked at up to 63 letters.
double JaroWinkler(std::string_view a, std::string_view b);

}  // namespace kestrel::host
