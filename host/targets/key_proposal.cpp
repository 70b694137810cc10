#include "targets/key_proposal.h"

#include <algorithm>
#include <initializer_list>

#include "targets/table_catalog.h"

namespace kestrel::host {

namespace {

// The first of these names that a column has; empty for none.
std::string ColumnCalled(const ReadTable& table, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    for (const ReadColumn& column : table.columns) {
      if (column.kind == FieldKind::kText && column.refusal.empty() && FoldedName(column.name) == name) {
        return column.name;
      }
    }
  }
  return {};
}

std::vector<std::string> ProposeNames(const ReadTable& table) {
  std::vector<std::string> names;
  const auto add = [&](std::initializer_list<const char*> called) {
    if (std::string column = ColumnCalled(table, called); !column.empty()) names.push_back(std::move(column));
  };
  add({"LASTNAME", "NACHNAME", "FAMILIENNAME", "SURNAME", "FAMILYNAME", "ZUNAME"});
  if (!names.empty()) {
    add({"FIRSTNAME", "VORNAME", "GIVENNAME", "FORENAME"});
    // As a person writes them.
    std::ranges::reverse(names);
    return names;
  }
  add({"NAME1", "BEZ1"});
  if (!names.empty()) {
    add({"NAME2", "BEZ2"});
    add({"NAME3", "BEZ3"});
    return names;
  }
  add({"FIRMA", "FIRMENNAME", "COMPANYNAME", "COMPANY", "REALNAME", "FULLNAME", "KUNDENNAME", "CUSTOMERNAME",
       "KUNDE", "CONTACTNAME", "NAME", "BEZEICHNUNG"});
  return names;
}

}  // namespace

void ProposeKeys(const ReadTable& table, KeyColumns& keys) {
  if (keys.names.empty()) keys.names = ProposeNames(table);
  const auto propose = [&](std::string& column, std::initializer_list<const char*> called) {
    if (column.empty()) column = ColumnCalled(table, called);
  };
  propose(keys.street, {"STRASSE", "STRASSEHAUSNUMMER", "STRASSEHAUSNR", "STRASSENR", "STRASSEUNDHAUSNUMMER",
                        "STR", "STREET", "STREETADDRESS", "STREET1", "ADDRESSLINE1", "ADDRESS1", "ADDRESS",
                        "ANSCHRIFT", "ADRESSE"});
  propose(keys.postcode, {"PLZ", "POSTLEITZAHL", "POSTALCODE", "POSTCODE", "ZIPCODE", "ZIP"});
  propose(keys.town, {"ORT", "STADT", "WOHNORT", "CITY", "TOWN", "PLACE", "LOCALITY"});
}

}  // namespace kestrel::host
