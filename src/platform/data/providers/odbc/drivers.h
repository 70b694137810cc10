// Which ODBC driver serves a provider named in a connection string.
//
// SQLOLEDB.1 is built in and served by FreeTDS. A drivers file can name another driver, or serve further
// providers. It is a profile file, named by the environment variable KESTREL_DRIVERS, else drivers.ini in
// the component's folder (platform/base/component_folder.h):
//
//   [SQLOLEDB.1]
//   Driver=ODBC Driver 18 for SQL Server   ; as registered with ODBC; required
//   Options=TrustServerCertificate=yes     ; more keys for the driver, as they stand
//   Server=comma                           ; "comma": Server=host,port; "keys" (default): Server=host;Port=port
//   Braces=double                          ; "double": } within {..} is doubled; "plain" (default): it is not;
//                                          ; "password" (PostgreSQL's default): as "double", around it alone
//   Text=utf16                             ; "utf8": narrow texts are UTF-8; "utf16" (default)
//
// A server of SQLOLEDB.1 that names neither port nor instance is reached at port 1433.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/data/connection_string.h"

namespace kestrel::odbc {

// Which values of a connection string the driver takes in braces, and how.
enum class Braces { kPlain, kDoubled, kDoubledAroundPassword };

struct Driver {
  std::string name;
  std::string options;
  bool port_behind_comma = false;
  Braces braces = Braces::kPlain;
  // The port of a server that names none; empty where the driver knows it.
  std::string default_port;
  // The driver hands out UTF-8 where narrow characters are asked for.
  bool narrow_utf8 = false;
};

// The driver of a provider (compared without case), or none where nothing serves it. A drivers file counts
// before what is built in; an entry without Driver is ignored.
std::optional<Driver> FindDriver(std::string_view provider);

// The string with what its driver needs to be told, where the string does not say it itself: PostgreSQL's
// fetches through a cursor (UseDeclareFetch=1, Fetch=1000), as it otherwise keeps the whole answer, and writes
// no logs (Debug=0, CommLog=0), which a system may ask for and which then stand in /tmp for everybody. A string
// that names a DSN is left alone, as its settings stand elsewhere.
std::string WithDriverDefaults(std::string connection_string);

// The driver's own connection string for the keys Data Source, Initial Catalog, User ID and Password. Error
// 3000 where one of the last three holds what the driver's syntax cannot express.
std::string DriverConnectionString(const Driver& driver, const ConnectionKeys& keys);

}  // namespace kestrel::odbc
