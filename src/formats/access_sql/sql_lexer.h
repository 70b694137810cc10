// The words and signs of Access's SQL.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/access_sql/sql_error.h"

namespace kestrel::access_sql {

struct Token {
  enum class Kind { kEnd, kWord, kQuotedName, kNumber, kText, kDate, kSign };
  Kind kind = Kind::kEnd;
  std::string text;        // without quotes; a sign as it stands
  std::size_t offset = 0;  // of its first byte in the SQL
};

// The tokens, a kEnd last. SqlError, with the offset, for a quote without its end and for an unknown character.
std::vector<Token> Tokenize(std::string_view sql);

}  // namespace kestrel::access_sql
