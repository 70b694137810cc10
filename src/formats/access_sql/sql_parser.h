// Reads Access's SQL.
#pragma once

#include <string_view>

#include "formats/access_sql/sql_syntax.h"

namespace kestrel::access_sql {

// Why a crosstab is not read.
inline constexpr const char* kCrosstabReason =
    "sie ist eine Kreuztabelle; Kreuztabellen werden hier nicht ausgeführt, auch nicht solche mit festen "
    "Spaltenüberschriften";

// A whole SELECT statement, unions and PARAMETERS included. Raises 3000 for a text that is none, for
// TRANSFORM and for tables of other files (IN 'file').
std::unique_ptr<SelectStatement> ParseSelect(std::string_view sql);

// One expression. Raises 3000 for a text that is none.
ExpressionPtr ParseExpression(std::string_view sql);

// One output column: an expression, "*" or "table.*".
OutputColumn ParseOutputColumn(std::string_view sql);

}  // namespace kestrel::access_sql
