#include "formats/access_sql/sql_lexer.h"

#include <algorithm>
#include <array>

namespace kestrel::access_sql {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
// Letters of other alphabets are bytes beyond ASCII.
bool StartsWord(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (c & 0x80) != 0;
}
bool ContinuesWord(char c) { return StartsWord(c) || IsDigit(c) || c == '$'; }

class Lexer {
 public:
  explicit Lexer(std::string_view sql) : sql_(sql) {}

  std::vector<Token> Run() {
    std::vector<Token> tokens;
    for (;;) {
      while (at_ < sql_.size() && (IsSpace(sql_[at_]) || sql_[at_] == '\0')) ++at_;
      if (at_ == sql_.size()) break;
      tokens.push_back(Next());
    }
    tokens.push_back({Token::Kind::kEnd, "", at_});
    return tokens;
  }

 private:
  Token Next() {
    const char c = sql_[at_];
    if (c == '[') return Quoted(Token::Kind::kQuotedName, ']');
    if (c == '`') return Quoted(Token::Kind::kQuotedName, '`');
    if (c == '"' || c == '\'') return Quoted(Token::Kind::kText, c);
    if (c == '#') return Quoted(Token::Kind::kDate, '#');
    if (IsDigit(c) || (c == '.' && at_ + 1 < sql_.size() && IsDigit(sql_[at_ + 1]))) return Number();
    if (StartsWord(c)) {
      const std::size_t start = at_;
      while (at_ < sql_.size() && ContinuesWord(sql_[at_])) ++at_;
      return {Token::Kind::kWord, std::string(sql_.substr(start, at_ - start)), start};
    }
    return Sign();
  }

  // Up to the closing character; doubled it stands for itself.
  Token Quoted(Token::Kind kind, char close) {
    const std::size_t start = at_;
    std::string text;
    for (++at_;;) {
      const std::size_t end = sql_.find(close, at_);
      if (end == std::string_view::npos) {
        throw SqlError(std::string("Es fehlt ein schließendes ") + close, start);
      }
      text += sql_.substr(at_, end - at_);
      at_ = end + 1;
      if (at_ >= sql_.size() || sql_[at_] != close || kind == Token::Kind::kDate) break;
      text += close;
      ++at_;
    }
    return {kind, std::move(text), start};
  }

  Token Number() {
    const std::size_t start = at_;
    const auto digits = [&] {
      while (at_ < sql_.size() && IsDigit(sql_[at_])) ++at_;
    };
    digits();
    if (at_ < sql_.size() && sql_[at_] == '.') {
      ++at_;
      digits();
    }
    if (at_ < sql_.size() && (sql_[at_] == 'e' || sql_[at_] == 'E')) {
      std::size_t exponent = at_ + 1;
      if (exponent < sql_.size() && (sql_[exponent] == '+' || sql_[exponent] == '-')) ++exponent;
      if (exponent < sql_.size() && IsDigit(sql_[exponent])) {
        at_ = exponent;
        digits();
      }
    }
    return {Token::Kind::kNumber, std::string(sql_.substr(start, at_ - start)), start};
  }

  Token Sign() {
    constexpr std::array<std::string_view, 3> kPairs{"<>", "<=", ">="};
    const std::string_view pair = sql_.substr(at_, 2);
    if (std::find(kPairs.begin(), kPairs.end(), pair) != kPairs.end()) {
      at_ += 2;
      return {Token::Kind::kSign, std::string(pair), at_ - 2};
    }
    constexpr std::string_view kSigns = "<>=+-*/\\^&(),.!;";
    const char c = sql_[at_];
    if (kSigns.find(c) == std::string_view::npos) {
      throw SqlError(std::string("Unerwartetes Zeichen: ") + c, at_);
    }
    ++at_;
    return {Token::Kind::kSign, std::string(1, c), at_ - 1};
  }

  std::string_view sql_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<Token> Tokenize(std::string_view sql) { return Lexer(sql).Run(); }

}  // namespace kestrel::access_sql
