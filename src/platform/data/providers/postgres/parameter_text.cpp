#include "platform/data/providers/postgres/parameter_text.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrel::postgres {

namespace {

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// The position behind the piece that `find` begins; the end of the text where it is not closed.
std::size_t Behind(std::string_view sql, std::string_view closing, std::size_t from) {
  const std::size_t at = sql.find(closing, from);
  return at == std::string_view::npos ? sql.size() : at + closing.size();
}

// '..' with backslashes that take the next character along.
std::size_t BehindEscaped(std::string_view sql, std::size_t from) {
  for (std::size_t at = from; at < sql.size(); ++at) {
    if (sql[at] == '\\') {
      ++at;
    } else if (sql[at] == '\'') {
      return at + 1;
    }
  }
  return sql.size();
}

// Comments nest.
std::size_t BehindComment(std::string_view sql, std::size_t from) {
  int depth = 0;
  std::size_t at = from;
  while (at + 1 < sql.size()) {
    const std::string_view pair = sql.substr(at, 2);
    if (pair == "/*") ++depth;
    if (pair == "*/") --depth;
    at += pair == "/*" || pair == "*/" ? 2 : 1;
    if (depth == 0) return at;
  }
  return sql.size();
}

// $tag$..$tag$, or just behind the sign where it begins none.
std::size_t BehindDollar(std::string_view sql, std::size_t from) {
  std::size_t end = from + 1;
  while (end < sql.size() && IsWordCharacter(sql[end])) ++end;
  if (end >= sql.size() || sql[end] != '$') return from + 1;
  return Behind(sql, sql.substr(from, end + 1 - from), end + 1);
}

// The position behind the piece at `at` in which "?" means nothing, or `at` itself.
std::size_t BehindOpaque(std::string_view sql, std::size_t at) {
  const char c = sql[at];
  const char next = at + 1 < sql.size() ? sql[at + 1] : '\0';
  if (c == '\'') {
    const bool escapes =
        at > 0 && (sql[at - 1] == 'E' || sql[at - 1] == 'e') && (at == 1 || !IsWordCharacter(sql[at - 2]));
    return escapes ? BehindEscaped(sql, at + 1) : Behind(sql, "'", at + 1);
  }
  if (c == '"') return Behind(sql, "\"", at + 1);
  if (c == '-' && next == '-') return Behind(sql, "\n", at);
  if (c == '/' && next == '*') return BehindComment(sql, at);
  if (c == '$') return BehindDollar(sql, at);
  return at;
}

}  // namespace

NumberedText NumberParameters(std::string_view sql) {
  NumberedText numbered;
  numbered.sql.reserve(sql.size() + 16);
  std::size_t at = 0;
  while (at < sql.size()) {
    const std::size_t behind = BehindOpaque(sql, at);
    if (behind > at) {
      numbered.sql.append(sql.substr(at, behind - at));
      at = behind;
      continue;
    }
    if (sql[at] == '?') {
      numbered.sql += '$' + std::to_string(++numbered.parameters);
    } else {
      numbered.sql += sql[at];
    }
    ++at;
  }
  return numbered;
}

std::string FirstWord(std::string_view sql) {
  std::size_t at = 0;
  while (at < sql.size() && !IsWordCharacter(sql[at])) at = std::max(at + 1, BehindOpaque(sql, at));
  std::size_t end = at;
  while (end < sql.size() && IsWordCharacter(sql[end])) ++end;
  return UpperCase(sql.substr(at, end - at));
}

}  // namespace kestrel::postgres
