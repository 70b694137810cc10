// The words and signs of Access's SQL.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/runtime_error.h"

namespace kestrel::access {

struct Token {
  enum class Kind { kEnd, kWord, kQuotedName, kNumber, kText, kDate, kSign };
  Kind kind = Kind::kEnd;
  std::string text;  // without quotes; a sign as it stands
};

// Why a piece of SQL cannot be run: 3000. It does not name the query yet; who reads the query adds that.
class SqlError final : public RuntimeError {
 public:
  explicit SqlError(std::string reason) : RuntimeError(ErrorNumber::kDatabase, std::move(reason)) {}
};

// The tokens, a kEnd last. Raises 3000 for a quote without its end and for an unknown character.
std::vector<Token> Tokenize(std::string_view sql);

}  // namespace kestrel::access
