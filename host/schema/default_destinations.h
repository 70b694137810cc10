// The destinations that the host brings: customers, prospects and suppliers, as rows of Importziele and
// Importfelder.
#pragma once

#include "kestrel/connection.h"

namespace kestrel::host {

struct DefaultDestination {
  const char* prog_id;
  const char* table;
  const char* number_field;
  const char* group_field;
  const char* date_field;
  const char* group_query;  // of the permitted groups
  int address_type;         // one bit
  int app_mode;             // the application mode under which the host imports them
};

inline constexpr DefaultDestination kDefaultDestinations[] = {
    {"ksbimport.importkunden", "Kunden", "KundenNummer", "Kundengruppe", "KundeSeit",
     "SELECT Kundengruppe, Description FROM Kundengruppen ORDER BY Kundengruppe", 1, 2},
    {"ksbimport.importinteressenten", "Interessenten", "Interessentennummer", "Kundengruppe", "ErstKontakt",
     "SELECT Kundengruppe, Description FROM Kundengruppen ORDER BY Kundengruppe", 8, 3},
    {"ksbimport.importlieferanten", "Lieferanten", "LieferantenNummer", "Lieferantengruppe", "LieferantSeit",
     "SELECT Lieferantengruppe, Description FROM Lieferantengruppen ORDER BY Lieferantengruppe", 32, 4},
};

// Rows that exist already stay as they are, so that a user's own changes survive.
void AddDefaultDestinations(Connection& connection);

}  // namespace kestrel::host
