#include "platform/data/providers/odbc/single_query.h"

#include <algorithm>
#include <array>
#include <string>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel::odbc {

namespace {

// Reserved in SQL Server, so that none can be a name without quotes.
constexpr std::array kBeginsStatement{
    "ALTER",    "BACKUP",   "BEGIN",  "BULK",    "CHECKPOINT", "COMMIT", "CREATE",    "DBCC",        "DECLARE",
    "DELETE",   "DENY",     "DROP",   "EXEC",    "EXECUTE",    "GRANT",  "IF",        "INSERT",      "INTO",
    "KILL",     "MERGE",    "PRINT",  "RESTORE", "REVERT",     "REVOKE", "ROLLBACK",  "SAVE",        "SET",
    "SHUTDOWN", "TRUNCATE", "UPDATE", "USE",     "WAITFOR",    "WHILE",  "RAISERROR", "RECONFIGURE", "GOTO"};

// Words behind which a further SELECT of the same query stands.
constexpr std::array kJoinsQueries{"UNION", "ALL", "EXCEPT", "INTERSECT"};

template <class Words>
bool IsOneOf(std::string_view word, const Words& words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view candidate) { return EqualsIgnoringCase(word, candidate); });
}

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '@' ||
         c == '#' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

[[noreturn]] void Refuse(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

class Checker {
 public:
  Checker(std::string_view sql, SqlDialect dialect) : sql_(sql), dialect_(dialect) {}

  void Run() {
    while (at_ < sql_.size()) Step();
    if (first_) Refuse("Die Anweisung ist leer.");
  }

 private:
  void Step() {
    const char c = sql_[at_];
    const char next = at_ + 1 < sql_.size() ? sql_[at_ + 1] : '\0';
    if (IsBlank(c)) {
      ++at_;
    } else if (c == '-' && next == '-') {
      at_ = std::min(sql_.find('\n', at_), sql_.size());
    } else if (c == '/' && next == '*') {
      SkipComment();
    } else if (c == ';') {
      ++at_;
      ended_ = !first_;
    } else {
      if (ended_) Refuse("Je Aufruf ist nur eine Anweisung zulässig.");
      if (IsWordCharacter(c)) {
        TakeWord();
      } else {
        TakeSign(c);
      }
    }
  }

  // Comments nest.
  void SkipComment() {
    int depth = 0;
    do {
      const std::string_view pair = sql_.substr(at_, 2);
      if (pair == "/*") {
        ++depth;
        at_ += 2;
      } else if (pair == "*/") {
        --depth;
        at_ += 2;
      } else {
        ++at_;
      }
    } while (depth > 0 && at_ < sql_.size());
  }

  void TakeSign(char c) {
    if (c == '(') {
      ++depth_;
    } else if (c == ')') {
      --depth_;
    } else if (c == '\'' || c == '"' || c == '`' || (c == '[' && dialect_ == SqlDialect::kSqlServer)) {
      const std::size_t end = sql_.find(c == '[' ? ']' : c, at_ + 1);
      at_ = std::min(end, sql_.size() - 1);
    }
    // A doubled closing character begins the next piece at once, which comes to the same.
    if (first_ && c != '(') Refuse("Diese Datenquelle wird nur gelesen, nicht verändert.");
    previous_ = {};
    ++at_;
  }

  void TakeWord() {
    const std::size_t start = at_;
    while (at_ < sql_.size() && IsWordCharacter(sql_[at_])) ++at_;
    const std::string_view word = sql_.substr(start, at_ - start);
    if (first_) {
      const bool with = EqualsIgnoringCase(word, "WITH");
      if (!with && !EqualsIgnoringCase(word, "SELECT")) {
        Refuse("Diese Datenquelle wird nur gelesen, nicht verändert.");
      }
      first_ = false;
      seen_select_ = !with;
    } else if (dialect_ == SqlDialect::kSqlServer) {
      CheckFurtherWord(word);
    }
    previous_ = word;
  }

  void CheckFurtherWord(std::string_view word) {
    if (IsOneOf(word, kBeginsStatement)) Refuse("Je Aufruf ist nur eine lesende Anweisung zulässig.");
    if (depth_ > 0 || !EqualsIgnoringCase(word, "SELECT")) return;
    if (seen_select_ && !IsOneOf(previous_, kJoinsQueries)) {
      Refuse("Je Aufruf ist nur eine Anweisung zulässig.");
    }
    seen_select_ = true;
  }

  std::string_view sql_;
  SqlDialect dialect_;
  std::size_t at_ = 0;
  std::string_view previous_;
  int depth_ = 0;
  bool first_ = true;
  bool seen_select_ = false;
  bool ended_ = false;
};

}  // namespace

void RequireSingleQuery(std::string_view sql, SqlDialect dialect) {
  if (sql.find('\0') != std::string_view::npos) Refuse("Die Anweisung enthält ein NUL-Zeichen.");
  Checker(sql, dialect).Run();
}

}  // namespace kestrel::odbc
