#include "platform/data/literal_template.h"

#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr std::size_t kMostLiterals = 64;

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// The position behind the quoted piece that starts at `start`, or npos where it is not closed.
std::size_t EndOfQuoted(std::string_view sql, std::size_t start, char closing) {
  for (std::size_t at = start + 1; at < sql.size(); ++at) {
    if (sql[at] != closing) continue;
    if (closing == ']' || at + 1 >= sql.size() || sql[at + 1] != closing) return at + 1;
    ++at;
  }
  return std::string_view::npos;
}

}  // namespace

std::string_view LiteralTemplate::Literal(std::size_t index) const {
  return std::string_view(literals_).substr(pieces_[index].first, pieces_[index].second);
}

bool LiteralTemplate::Make(std::string_view sql) {
  sql_.clear();
  literals_.clear();
  pieces_.clear();
  bool behind_where = false;
  std::size_t at = 0;
  while (at < sql.size()) {
    const char c = sql[at];
    const char next = at + 1 < sql.size() ? sql[at + 1] : '\0';
    std::size_t end = at + 1;
    if (c == '?' || c == ':' || c == '@' || c == '$' || c == '\0') return false;
    if (IsWordCharacter(c)) {
      while (end < sql.size() && IsWordCharacter(sql[end])) ++end;
      const std::string_view word = sql.substr(at, end - at);
      if (EqualsIgnoringCase(word, "where")) behind_where = true;
      // x'..' is a blob: it stays in the text as a whole.
      if (EqualsIgnoringCase(word, "x") && end < sql.size() && sql[end] == '\'') {
        end = EndOfQuoted(sql, end, '\'');
      }
    } else if (c == '-' && next == '-') {
      end = sql.find('\n', at);
      if (end == std::string_view::npos) end = sql.size();
    } else if (c == '/' && next == '*') {
      end = sql.find("*/", at + 2);
      if (end != std::string_view::npos) end += 2;
    } else if (c == '"' || c == '`') {
      end = EndOfQuoted(sql, at, c);
    } else if (c == '[') {
      end = EndOfQuoted(sql, at, ']');
    } else if (c == '\'') {
      end = EndOfQuoted(sql, at, '\'');
      if (end != std::string_view::npos && behind_where) {
        if (pieces_.size() == kMostLiterals) return false;
        const std::size_t start = literals_.size();
        for (std::size_t i = at + 1; i + 1 < end; ++i) {
          literals_.push_back(sql[i]);
          if (sql[i] == '\'') ++i;
        }
        pieces_.emplace_back(start, literals_.size() - start);
        // Blanks keep the parameter a token of its own whatever stands beside the literal.
        sql_ += " ? ";
        at = end;
        continue;
      }
    }
    if (end == std::string_view::npos) return false;
    sql_.append(sql.substr(at, end - at));
    at = end;
  }
  return !pieces_.empty();
}

}  // namespace kestrel
