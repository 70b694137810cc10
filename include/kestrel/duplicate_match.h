// The address of the host's index that a record is held to repeat.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel {

// The first row that the look-up found. What the index does not tell is 0 or empty.
struct DuplicateMatch {
  std::int64_t address_type = 0;  // Adressart: one bit
  std::string reference;          // Referenz: the address's number
  int key = 0;                    // 1 to 3: the first key in use that the row has, too

  // Keeps its memory.
  void Clear() {
    address_type = 0;
    reference.clear();
    key = 0;
  }
};

}  // namespace kestrel
