// dBase tables: a folder is the database, each .dbf file in it a table.
//
//   Driver={Microsoft dBASE Driver (*.dbf)};DBQ=FOLDER; DriverID=277
//
// FOLDER may also be the path of one .dbf file. Tables are named KUNDEN or KUNDEN.DBF, without regard to case.
// Texts are in the code page that the table names; where it names none, in the one of the environment variable
// KESTREL_DBF_CODEPAGE, else in 850. The key CodePage (CodePage=1252) overrides what tables say.
#pragma once

#include <string_view>

#include "kestrel/connection.h"
#include "platform/data/connection_string.h"

namespace kestrel::dbase {

bool Serves(const ConnectionKeys& keys);

// Error 3000 where the folder is missing or the code page unknown.
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::dbase
