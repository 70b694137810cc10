// Whether two addresses are the same one: the decision behind the duplicate keys.
//
// By the theory of I. Fellegi and A. Sunter ("A Theory for Record Linkage", JASA 64 (1969)): each part that can be
// compared says how much more often it turns out so where two addresses are the same than where they are two, in bits
// (log2 of m/u). The sum, with the bits against any two addresses of a million being the same, is a probability. Words
// are compared with the string comparators of text_similarity.h, in grades, as Winkler did for the census.
//
// The m are the usual ones of the literature (nine values in ten agree where the address is the same). The u are of public
// lists: 8,200 postcodes, a common surname for one person in 300, and so on. Three dependences are heeded, which the sum
// of independent parts would get wrong:
//  1. Postcode and town tell one place, so they are judged together.
//  2. People of one household share surname and address. So what differs in their names weighs more than the address.
//  3. A house number says little where the streets differ.
#pragma once

#include <string>

#include "keys/address_view.h"

namespace kestrel::host {

struct Comparison {
  double bits = 0;
  // In words, German: "gleicher Name, gleiche PLZ, Straße ähnlich 0,93".
  std::string reason;
  // Whether a name of one is that of the other, or near it.
  bool shares_name = false;

  // How probable it is that both are the same address, 0 to 100.
  double Percent() const;
};

// What pairs at one address looked like so far: with names that are the same, one that is another, and only others.
// Where people of one household are told one by one, other names at one address are other people; where every address
// stands for one person, they are errors. Which it is shows in the data: so the share of errors among pairs with another
// name is estimated from these counts. They begin as if some households had been seen.
struct SameAddressPairs {
  double same_names = 0;
  double one_name_other = 2;
  double all_names_other = 2;

  bool operator==(const SameAddressPairs&) const = default;
};

// Counts the pair.
Comparison CompareAddresses(const AddressView& a, const AddressView& b, SameAddressPairs& seen);
// The Percent of it, or where that is less than 0.1, a greater one that is less, too. Counts the pair. Without words,
// and mostly without looking at all parts: for the many pairs that chance brings together.
double HighestPercent(const AddressView& a, const AddressView& b, SameAddressPairs& seen);

}  // namespace kestrel::host
