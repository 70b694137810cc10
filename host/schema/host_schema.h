// The sample host's database: a small but real address book of a trading company.
//
//   Kunden, Interessenten, Lieferanten   the addresses; the number is the primary key
//   Kundengruppen, Lieferantengruppen    permitted groups with their descriptions
//   Adressindex                          duplicate keys of all addresses, see components/address_index.h
//   Personalstamm                        users
//   Einstellungen                        settings by group and name
//   Protokoll, Protokollzeilen           logs and their rows
//   Importziele, Importfelder            what can be imported: one row a destination, one a field, by ProgID
//
// The statements are the same for SQLite and PostgreSQL but for the type of an automatic key.
#pragma once

#include "platform/data/connection.h"

namespace kestrel::host {

// Makes every table that is missing and fills what the host cannot do without: destinations, groups,
// settings and one user. What exists already stays as it is. One transaction; error 3000.
void InitialiseHostDatabase(Connection& connection);

// Whether this database is SQLite; the statements for the other one differ here and there.
bool IsSqlite(const Connection& connection);

// Makes the indexes of table Adressindex where a large import that broke off has left it without them; on
// servers that cannot happen. Error 3000, also where the table is missing.
void MakeAddressIndexes(Connection& connection);

}  // namespace kestrel::host
