// Which address lists the window shows: those of the sample host, and one for each destination that somebody has made of
// a table.
#pragma once

#include <QString>
#include <cstdint>
#include <string>
#include <vector>

#include "app/address_columns.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"

namespace kestrel::host {

struct AddressList {
  std::string table;                   // as statements name it: plain, or in quotes
  QString title;                       // "Kunden"
  QString import_title;                // "Kunden importieren..."
  std::int16_t app_mode = 0;           // the application mode of its imports
  std::int64_t address_type = 0;       // its bit for the duplicate check; 0 for none
  std::vector<AddressColumn> columns;  // the first is the number
};

// In the order in which they are shown, one at least. Error 3000 where the database lacks a list of the sample host, or has
// no list at all, with the way to one.
std::vector<AddressList> AddressLists(ComponentRegistry& components, const ConnectionPtr& connection);

}  // namespace kestrel::host
