// An address taken apart for comparing: in folded letters (folded_text.h), without what says nothing about who is meant.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "keys/address_view.h"

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

  // Of the texts that this object keeps, until the next Assign.
  const AddressView& view() const { return view_; }
  // NOLINTNEXTLINE(google-explicit-constructor): an address taken apart, wherever one is looked at
  operator const AddressView&() const { return view_; }
  // Whether nobody is named and no place told.
  bool empty() const { return view_.name_count == 0 && postcode_.empty() && town_.empty() && street_.empty(); }

 private:
  void TakeTown(std::string_view text);
  void TakeStreet(std::string_view text);
  void TakeNames(std::string_view first, std::string_view second);
  bool TakeNameWords(std::string_view folded);

  AddressView view_;
  std::string postcode_;
  std::string town_;
  std::string street_words_;
  std::string street_;
  std::string house_number_;
  std::array<std::string, 2> name_texts_;
};

}  // namespace kestrel::host
