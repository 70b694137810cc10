// The three ways to make a duplicate key of an address. Addresses with equal keys are suspected to be the
// same one.
//
//   Code "1", the address as it is written, but for case, umlauts, accents, blanks, punctuation and
//   "Str."/"Straße":
//     Möbel-Haus Groß | Haupt-Straße 5 | 50667 Köln  =  MOEBELHAUS GROSS | Hauptstr. 5 | 50667 KOELN
//   Code "2", the names as they sound (Kölner Phonetik), in any order, without titles, and the postcode:
//     Meyer, Stefan | 50667  =  Dr. Stephan Maier | 50667
//   Code "3", the company's name without its legal form, and the street:
//     Schmidt Maschinenbau GmbH & Co. KG | Ringstr. 1  =  Schmidt Maschinenbau | Ringstrasse 1
//
// A key is 9 characters out of A-Z a-z 0-9 "-" "_", so that an index of them stays small and they can stand
// in a statement as they are: 54 bits of a 64-bit hash (FNV-1a by Fowler, Noll and Vo, then the final mixing
// of Appleby's MurmurHash3) over the canonical text and the code. Among ten million addresses a look-up finds
// a foreign key by chance once in 1,800 million times.
//
// An address that lacks what a code looks at has no key: the empty text. It is never stored in the index, so
// it finds nothing.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace kestrel::host {

// The parts of a key text "PLZ|Ort|Strasse|start of Bez1|Bez1|Bez2|Bez3||group" in folded letters (see
// folded_text.h). Parts that are missing are empty; the start of Bez1 and the group play no role here.
struct FoldedAddress {
  explicit FoldedAddress(std::string_view key_text) { Assign(key_text); }
  // Reuses the memory.
  void Assign(std::string_view key_text);

  std::string postcode;  // in one word, without a country sign in front
  std::string town;      // in one word
  std::string street;    // in one word
  std::array<std::string, 3> names;
};

// What two addresses must share to have the same key; empty where the address has none. Error 5 for an
// unknown code.
std::string CanonicalText(std::string_view code, const FoldedAddress& address);

std::string BuildDoubletKey(std::string_view code, std::string_view key_text);

// Remembers the keys built last, as the check of a record and its storing ask for the same three, and the
// folded address that they were built from. One of them is shared by the components of one registry; used by
// one thread at a time.
class KeyMemory {
 public:
  // As BuildDoubletKey. The view lives until the next call but two.
  std::string_view Build(std::string_view code, std::string_view key_text);

 private:
  struct Entry {
    std::string code;
    std::string text;
    std::string key;
    bool used = false;
  };
  std::array<Entry, 3> entries_;
  std::size_t next_ = 0;
  std::string folded_text_;
  FoldedAddress folded_{{}};
};

}  // namespace kestrel::host
