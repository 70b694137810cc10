// Excel workbooks: every sheet and every named range is a table, its first row gives the column names.
//
//   Driver={Microsoft Excel Driver (*.xls)};defaultdir=FILE
//
// DBQ=FILE serves as well. Read are .xls files of Excel 5 to 2003 and .xlsx files. A query names the sheet
// (`Tabelle1$`), possibly after the path of a workbook (`FILE`.`Tabelle1$`), which then is the one that is
// read. The file is read anew for every query, so that a record set shows what it holds at that moment.
#pragma once

#include <string_view>

#include "kestrel/connection.h"
#include "platform/data/connection_string.h"

namespace kestrel::excel {

bool Serves(const ConnectionKeys& keys);

// Error 3000 for a file that cannot be read as a workbook, with the reason.
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::excel
