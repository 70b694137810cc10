// "SELECT * FROM table": the one statement that file sources need.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// The table's name in its parts: KUNDEN.DBF has two, `C:\Daten\k.xls`.`Tabelle1$` has two, [Kunden] has one.
// Never empty.
using TableName = std::vector<std::string>;

// Reads the statement; words are compared without case, a closing ";" is allowed. A part may stand in back
// quotes, double quotes or brackets, where it may hold everything (the closing character doubled stands for
// itself, and so does a single one that no end of the part can be, as names are put in without doubling it). A part without quotes goes on to the next point or to the end, so that a table whose name holds
// blanks is found though the statement was built by putting the bare name behind "FROM".
//
// Error 3000 for any other statement; the description quotes it.
TableName ParseSelectAll(std::string_view sql);

// The parts with points between them, for sources whose names hold points.
std::string JoinTableName(const TableName& name);

}  // namespace kestrel
