// Sources behind an ODBC driver, read only.
//
//   Provider=SQLOLEDB.1;Initial Catalog=..;Data Source=..;Password=..;User ID=..
//       SQL Server. Data Source is a host, "host,port" or "host\instance". Which ODBC driver serves it is told
//       by drivers.h.
//   Driver=...;... and DSN=...;...
//       any driver, the string handed to it as it stands.
#pragma once

#include "kestrel/connection.h"
#include "platform/data/connection_string.h"

namespace kestrel::odbc {

bool Serves(const ConnectionKeys& keys);
// Error 3000 with the driver's reason, which never holds the password.
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::odbc
