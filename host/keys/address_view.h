// An address taken apart for comparing, in folded letters (folded_text.h), as views of texts that somebody else keeps:
// AddressParts, or what a run remembers of the addresses that it has stored.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel::host {

struct AddressView {
  static constexpr std::size_t kMostNames = 16;

  // Digits and letters, without a country sign in front.
  std::string_view postcode;
  // Without "OT Nord"; "FRANKFURT AM MAIN".
  std::string_view town;
  // The word of it that a town is known by: "HOMBURG" of "BAD HOMBURG V D HOEHE".
  std::string_view town_word;
  // In one word, without the house number: "HAUPTSTRASSE", "KONRADADENAUERSTRASSE".
  std::string_view street;
  // The part of it that a street is known by, without its kind: "HAUPT", "KONRAD".
  std::string_view street_word;
  // Digits: 5 of "5a", "5 A", "5-7"; and the letter behind them, '\0' where there is none.
  std::string_view house_number;
  char house_letter = '\0';
  // Named with a legal form or a trade.
  bool is_company = false;
  // A bit a legal form; none where none is told. Only reasons look at them: they are empty in what is kept in memory.
  std::uint32_t legal_forms = 0;
  std::uint8_t name_count = 0;
  // A bit a name: those that tell two of one name apart ("jun.", "Filiale 2").
  std::uint16_t marks = 0;
  std::array<std::string_view, kMostNames> all_names;

  // Of a company those of Bez1, and of Bez2 where that has a legal form or a trade; of a person those of both; no titles,
  // legal forms, departments or people in charge.
  std::span<const std::string_view> names() const { return {all_names.data(), name_count}; }
  bool IsMark(std::size_t name) const { return (marks >> name & 1U) != 0; }
};

}  // namespace kestrel::host
