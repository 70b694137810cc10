// The three ways to make a duplicate key of an address. Addresses with an equal key are suspected to be the same one;
// whether they are is what address_comparison.h decides. So the keys are generous: each has a place and passes over
// errors in other parts of the address, so that one error, and most pairs of errors, leave one of the three as it was.
//
//   Code "4", a name in a place: the postcode and how one name sounds, whatever the street is called.
//   Code "7", a name at a house number: how the other name sounds, the house number, the region of the postcode (its
//     first two digits, in whichever order, as digits are often exchanged), so that a wrong digit behind it and a wrong
//     street do no harm.
//   Code "6", a street in a town: how both sound; whatever people are called and the postcode is. A street that many
//     towns have ("Hauptstraße") and one of a large town say little: their key has the house number, too.
//
// "How it sounds" is the beginning of the Kölner Phonetik, which most typing errors leave as it is. Of several names
// (legal forms, titles and people in charge are none) code 4 takes the one whose sound comes last, code 7 the first, so
// their order and which of them is the surname do not matter. What is missing is passed over: a town stands in for a
// postcode, the whole postcode for a house number. Where no place is told at all, code 4 finds what is repeated word by
// word in name and street.
//
// A key is 9 characters out of A-Z a-z 0-9 "-" "_", so that an index of them stays small and they can stand
// in a statement as they are: 54 bits of a 64-bit hash (FNV-1a by Fowler, Noll and Vo, then the final mixing
// of Appleby's MurmurHash3) over the canonical text and the code.
//
// An address that lacks what a code looks at has no key: the empty text. It is never stored in the index, so
// it finds nothing. The codes "1" to "3" and "5" were those of earlier versions; storage/index_repair.h replaces their keys.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "keys/address_parts.h"

namespace kestrel::host {

// What two addresses must share to have the same key; empty where the address has none. Error 5 for an
// unknown code.
std::string CanonicalText(std::string_view code, const AddressView& address);

std::string BuildDoubletKey(std::string_view code, std::string_view key_text);

// Remembers the keys built last, as the check of a record and its storing ask for the same three, and the
// address that they were built from. One of them is shared by the components of one registry; used by
// one thread at a time.
class KeyMemory {
 public:
  // As BuildDoubletKey. The view lives until the next call but two.
  std::string_view Build(std::string_view code, std::string_view key_text);
  // What the key text tells. The views live until the next call for another one.
  const AddressView& PartsOf(std::string_view key_text);

 private:
  struct Entry {
    std::string code;
    std::string key;
    bool used = false;  // it is of text_
  };
  std::array<Entry, 3> entries_;
  std::size_t next_ = 0;
  std::string text_;
  AddressParts parts_;  // of it
};

}  // namespace kestrel::host
