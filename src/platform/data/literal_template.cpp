#include "platform/data/literal_template.h"

#include <algorithm>
#include <array>

#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr std::size_t kMostLiterals = 64;

// What a character begins where no quote or comment is open.
enum class Begins : unsigned char {
  kNothing,
  kWord,
  kLiteral,
  kName,
  kBracketName,
  kLineComment,
  kComment,
  kParameter
};

constexpr std::array<Begins, 256> kBegins = [] {
  std::array<Begins, 256> begins{};
  for (std::size_t c = 0x80; c < begins.size(); ++c) begins[c] = Begins::kWord;
  for (std::size_t c = '0'; c <= '9'; ++c) begins[c] = Begins::kWord;
  for (std::size_t c = 'A'; c <= 'Z'; ++c) begins[c] = begins[c - 'A' + 'a'] = Begins::kWord;
  begins['_'] = Begins::kWord;
  begins['\''] = Begins::kLiteral;
  begins['"'] = begins['`'] = Begins::kName;
  begins['['] = Begins::kBracketName;
  begins['-'] = Begins::kLineComment;
  begins['/'] = Begins::kComment;
  for (const char c : {'?', ':', '@', '$', '\0'}) begins[static_cast<unsigned char>(c)] = Begins::kParameter;
  return begins;
}();

Begins BeginsAt(std::string_view sql, std::size_t at) { return kBegins[static_cast<unsigned char>(sql[at])]; }

// The position behind the quoted piece that starts at `start`, or npos where it is not closed. A doubled
// quote stands for one and closes nothing.
std::size_t EndOfQuoted(std::string_view sql, std::size_t start, char quote) {
  for (std::size_t at = sql.find(quote, start + 1); at != std::string_view::npos;
       at = sql.find(quote, at + 2)) {
    if (at + 1 >= sql.size() || sql[at + 1] != quote) return at + 1;
  }
  return std::string_view::npos;
}

// The position behind `ending`, or npos where it does not come.
std::size_t Behind(std::string_view sql, std::string_view ending, std::size_t from) {
  const std::size_t at = sql.find(ending, from);
  return at == std::string_view::npos ? at : at + ending.size();
}

}  // namespace

std::string_view LiteralTemplate::Literal(std::size_t index) const {
  return std::string_view(literals_).substr(pieces_[index].first, pieces_[index].second);
}

bool LiteralTemplate::TakeLiteral(std::string_view content) {
  if (pieces_.size() == kMostLiterals) return false;
  const std::size_t start = literals_.size();
  for (std::size_t quote = content.find('\''); quote != std::string_view::npos; quote = content.find('\'')) {
    literals_.append(content.substr(0, quote + 1));
    content.remove_prefix(quote + 2);
  }
  literals_.append(content);
  pieces_.emplace_back(start, literals_.size() - start);
  return true;
}

// The same text around literals of the same lengths that hold no apostrophe is read the same way.
bool LiteralTemplate::TakeRepeated(std::string_view sql) {
  if (last_.empty() || sql.size() != last_.size()) return false;
  std::size_t behind = 0;
  for (std::size_t i = 0; i < starts_.size(); ++i) {
    const std::size_t before = starts_[i] - behind;
    if (sql.compare(behind, before, last_, behind, before) != 0) return false;
    behind = starts_[i] + pieces_[i].second;
    if (sql.substr(starts_[i], pieces_[i].second).find('\'') != std::string_view::npos) return false;
  }
  if (sql.substr(behind) != std::string_view(last_).substr(behind)) return false;
  literals_.clear();
  for (std::size_t i = 0; i < starts_.size(); ++i) literals_.append(sql.substr(starts_[i], pieces_[i].second));
  return true;
}

bool LiteralTemplate::Make(std::string_view sql) {
  if (TakeRepeated(sql)) return true;
  last_.clear();
  starts_.clear();
  sql_.clear();
  literals_.clear();
  pieces_.clear();
  bool behind_where = false;
  std::size_t copied = 0;
  for (std::size_t at = 0; at < sql.size();) {
    std::size_t end = at + 1;
    switch (BeginsAt(sql, at)) {
      case Begins::kNothing: break;
      case Begins::kParameter: return false;
      case Begins::kWord: {
        while (end < sql.size() && BeginsAt(sql, end) == Begins::kWord) ++end;
        const std::string_view word = sql.substr(at, end - at);
        behind_where = behind_where || EqualsIgnoringCase(word, "where");
        // x'..' is a blob: it stays in the text as a whole.
        if (end < sql.size() && sql[end] == '\'' && EqualsIgnoringCase(word, "x"))
          end = EndOfQuoted(sql, end, '\'');
        break;
      }
      case Begins::kLineComment:
        if (sql.substr(end).starts_with('-')) end = std::min(Behind(sql, "\n", end), sql.size());
        break;
      case Begins::kComment:
        if (sql.substr(end).starts_with('*')) end = Behind(sql, "*/", end + 1);
        break;
      case Begins::kName: end = EndOfQuoted(sql, at, sql[at]); break;
      case Begins::kBracketName: end = Behind(sql, "]", end); break;
      case Begins::kLiteral:
        end = EndOfQuoted(sql, at, '\'');
        if (end == std::string_view::npos || !behind_where) break;
        if (!TakeLiteral(sql.substr(at + 1, end - at - 2))) return false;
        starts_.push_back(at + 1);
        // Blanks keep the parameter a token of its own whatever stands beside the literal.
        sql_.append(sql.substr(copied, at - copied)).append(" ? ");
        copied = end;
        break;
    }
    if (end == std::string_view::npos) return false;
    at = end;
  }
  sql_.append(sql.substr(copied));
  if (pieces_.empty()) return false;
  if (literals_.find('\'') == std::string::npos) last_ = sql;
  return true;
}

}  // namespace kestrel
