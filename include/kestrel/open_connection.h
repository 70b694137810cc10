// Opens a connection for a connection string.
//
//   Provider=SQLite;Data Source=FILE            an SQLite database, created if missing
//   FILE.sqlite, FILE.db                        the same, as a plain path
//   postgresql://..., Provider=PostgreSQL;...   a PostgreSQL database (the keys of libpq after Provider)
//   Provider=SQLOLEDB.1;...                     SQL Server, through ODBC
//   Provider=Microsoft.Jet.OLEDB.4.0;...        an Access file
//   Driver={Microsoft Excel Driver (*.xls)};... a workbook
//   Driver={Microsoft dBASE Driver (*.dbf)};... a folder of dBase tables
//   Driver=...;, DSN=...;                       any other ODBC driver, as the string stands
#pragma once

#include <string_view>

#include "kestrel/connection.h"
#include "kestrel/export.h"

namespace kestrel {

// Raises 3706 for a string that no provider serves, 3000 with the reason where opening fails. A password
// never stands in an error text. UTF-8; any thread, which may then hand the connection on.
KESTREL_EXPORT ConnectionPtr OpenConnection(std::string_view connection_string);

}  // namespace kestrel
