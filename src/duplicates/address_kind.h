// The kinds of address that are checked for duplicates, told by the import class.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

struct AddressKind {
  std::string_view import_class;
  std::int64_t type_code;          // its bit in the address index's Adressart
  std::string_view number_field;   // the record's own number: the reference in the address index
  std::string_view group_field;    // the last part of the key text
  std::string_view overwrite_key;  // in section CfgSettings
};

// The kind of an import class, compared exactly; null for a class whose addresses are not checked.
const AddressKind* FindAddressKind(std::string_view import_class);

}  // namespace kestrel
