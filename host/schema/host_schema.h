// The sample host's database: a small but real address book of a trading company.
//
//   Kunden, Interessenten, Lieferanten   the addresses; the number is the primary key
//   Kundengruppen, Lieferantengruppen    permitted groups with their descriptions
//   Adressindex                          duplicate keys of all addresses, see storage/address_index.h
//   Personalstamm                        users
//   Einstellungen                        settings by group and name
//   Protokoll, Protokollzeilen           logs and their rows
//   Protokollherkunft, Protokolldetails  what stands beside them, see storage/log_details.h
//   Importlauf, Importlaufzeilen         what imports did to the addresses, see ledger/run_ledger.h
//   Importsperre                         whose turn it is, see storage/group_lock.h; not on SQLite
//   Importziele, Importfelder            what can be imported: one row a destination, one a field, by ProgID
//   Importspalten, Importlisten          what a destination of a user's own tells beyond that, see targets/
//   Importfassung                        the version of the tables of such destinations, see own_tables.h
//
// The statements are the same for SQLite and PostgreSQL but for the type of an automatic key.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

// Of the host's first list; one beyond those of its lists for each destination of a user's own.
inline constexpr int kFirstApplicationMode = 2;

// Makes every table that is missing and fills what the host cannot do without: destinations, groups,
// settings and one user. What exists already stays as it is. One transaction; error 3000.
void InitialiseHostDatabase(Connection& connection);

// Whether this database is SQLite; the statements for the other one differ here and there.
bool IsSqlite(const Connection& connection);

// The statement that inserts rows but passes over those whose key exists; `target` is what follows INSERT INTO.
std::string InsertAbsentText(const Connection& connection, std::string_view target);

// Whether the tables of the sample host stand here under their plain names. Error 3000.
bool IsSampleHost(Connection& connection);
// The plain names of everything that the host makes in another application's database.
std::vector<std::string> OwnNames();
// Makes there all that the components need; their rows, too. What exists stays. Error 3000.
void CreateTablesApart(Connection& connection);
// Makes the tables of a user's own destinations, and notes their version. Error 3000.
void CreateTargetTables(Connection& connection);
// What version 2 has and version 1 had not. Error 3000.
void AddTargetLists(Connection& connection);
// Notes a version; the greatest one counts. Error 3000.
void SetOwnVersion(Connection& connection, int version);

// The tables that InitialiseHostDatabase makes on PostgreSQL.
std::vector<std::string> HostTables();

// Makes the tables beside the logs, which databases of earlier versions lack. Error 3000.
void CreateLogDetailTables(Connection& connection);

// Whether this SQLite database has the table Adressindex that InitialiseHostDatabase makes, and no other one of that
// name. Error 3000.
bool HasAddressIndexAsMade(Connection& connection);

// The columns of an address table as InitialiseHostDatabase makes it, "(...)"; empty where `table` is none of them.
std::string AddressTableColumns(const Connection& connection, std::string_view table);

// Whether there is a table of this name, in any case. Error 3000.
bool HasTable(Connection& connection, std::string_view name);
// Raises 3000, with the way out, where there is no such table.
void RequireTable(Connection& connection, std::string_view name);

// Makes the tables of the ledger in a database of an earlier version. Error 3000.
void CreateLedgerTables(Connection& connection);

// Makes the table Importsperre with its row where the database needs one and has none. Error 3000.
void CreateImportLock(Connection& connection);

}  // namespace kestrel::host
