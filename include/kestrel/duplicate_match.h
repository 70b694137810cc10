// The address that a record is held to repeat. Texts are UTF-8.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel {

// The row of the host's index that the look-up found: the first, or the one that the key component's Confirm gave
// the highest score. What nobody tells is 0 or empty.
struct DuplicateMatch {
  std::int64_t address_type = 0;  // Adressart: one bit
  std::string reference;          // Referenz: the address's number
  int key = 0;                    // 1 to 3: the first key in use that the row has, too
  std::int32_t record = 0;  // of the source, from 1: the earlier record of this run that stored the address
  std::string name = {};    // of the address, as the import class tells them (DescribeAddress)
  std::string place = {};   // likewise
  double score = 0;         // in per cent, as Confirm told it
  std::string reason = {};  // in words, likewise

  // Keeps its memory.
  void Clear() {
    address_type = 0;
    reference.clear();
    key = 0;
    record = 0;
    name.clear();
    place.clear();
    score = 0;
    reason.clear();
  }
};

}  // namespace kestrel
