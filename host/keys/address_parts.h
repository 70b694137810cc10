// An address taken apart for comparing: in folded letters (folded_text.h), without what says nothing about who is meant.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kestrel::host {

class AddressParts {
 public:
  AddressParts() = default;
  explicit AddressParts(std::string_view key_text) { Assign(key_text); }
  // The views point into the object.
  AddressParts(const AddressParts&) = delete;
  AddressParts& operator=(const AddressParts&) = delete;

  // From a key text "PLZ|Ort|Strasse|start of Bez1|Bez1|Bez2|Bez3||group", of which the fourth part, Bez3 and those
  // behind it play no role. Missing parts are empty. Reuses the memory.
  void Assign(std::string_view key_text);

  // Digits and letters, without a country sign in front.
  std::string_view postcode() const { return postcode_; }
  // Without "OT Nord"; "FRANKFURT AM MAIN".
  std::string_view town() const { return town_; }
  // The word that a town is known by: "HOMBURG" of "BAD HOMBURG V D HOEHE".
  std::string_view town_word() const { return town_word_; }
  // In one word, without the house number: "HAUPTSTRASSE", "KONRADADENAUERSTRASSE".
  std::string_view street() const { return street_; }
  // The word that a street is known by, without its kind: "HAUPT", "KONRAD".
  std::string_view street_word() const { return street_word_; }
  // Digits: 5 of "5a", "5 A", "5-7"; and the letter behind them, '\0' where there is none.
  std::string_view house_number() const { return house_number_; }
  char house_letter() const { return house_letter_; }
  // Of a company those of Bez1, and of Bez2 where that has a legal form or a trade; of a person those of both; no titles, legal forms, departments or people in
  // charge.
  std::span<const std::string_view> names() const { return {names_.data(), name_count_}; }
  // Named with a legal form or a trade.
  bool is_company() const { return is_company_; }
  // Whether nobody is named and no place told.
  bool empty() const { return name_count_ == 0 && postcode_.empty() && town_.empty() && street_.empty(); }

 private:
  void TakeTown(std::string_view text);
  void TakeStreet(std::string_view text);
  void TakeNames(std::string_view first, std::string_view second);
  bool TakeNameWords(std::string_view folded);

  static constexpr std::size_t kMostNames = 16;

  std::string postcode_;
  std::string town_;
  std::string town_word_;
  std::string street_words_;
  std::string street_;
  std::string street_word_;
  std::string house_number_;
  char house_letter_ = '\0';
  std::array<std::string, 2> name_texts_;
  std::array<std::string_view, kMostNames> names_;
  std::size_t name_count_ = 0;
  bool is_company_ = false;
};

// Whether a word tells companies of one name and address apart ("Verwaltungs GmbH").
bool IsSisterCompany(std::string_view word);

}  // namespace kestrel::host
