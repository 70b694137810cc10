// The check that a text is one query that only reads, before it is handed to a server.
#pragma once

#include <string_view>

namespace kestrel::odbc {

enum class SqlDialect {
  kStandard,
  // SQL Server takes a second statement without a semicolon before it; its reserved words tell.
  kSqlServer,
};

// Error 3000 unless `sql` is one query: it begins with SELECT or WITH, no semicolon stands before anything but
// blanks, comments and semicolons, and no second statement begins. Literals, quoted names and comments
// are passed over. For SQL Server also SELECT .. INTO, which creates a table, is refused.
void RequireSingleQuery(std::string_view sql, SqlDialect dialect);

}  // namespace kestrel::odbc
