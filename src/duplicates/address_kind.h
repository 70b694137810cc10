// The kinds of address that are checked for duplicates, told by the import class.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "component/session.h"

namespace kestrel {

// The fields of a record that make its key text. An empty name is a part that it lacks.
struct KeyFields {
  std::string_view postcode = "PLZ";
  std::string_view town = "Ort";
  std::string_view street = "Strasse";
  std::array<std::string_view, 3> names = {"Bez1", "Bez2", "Bez3"};
  // The names that are not empty are one, with blanks between them.
  bool joins_names = false;
};

struct AddressKind {
  std::string_view import_class;
  std::int64_t type_code;          // its bit in the address index's Adressart
  std::string_view number_field;   // the record's own number: the reference in the address index
  std::string_view group_field;    // the last part of the key text
  std::string_view overwrite_key;  // in section CfgSettings
  KeyFields keys = {};
};

// The kind of an import class that the host brings, compared exactly; null for every other class.
const AddressKind* FindAddressKind(std::string_view import_class);

// The kind of a session's import class: that of the host's own, or what the class says in its member AddressKind
// (kestrel/import_class.h), which is asked once an object. Null for a class whose addresses are not checked.
class SessionAddressKind {
 public:
  // Lives until the session has another import class. Raises what the member raises.
  const AddressKind* Of(const Session& session);

 private:
  ObjectPtr asked_;
  std::string told_;  // of which told_kind_ is made
  AddressKind told_kind_ = {};
};

}  // namespace kestrel
