#include "platform/data/select_all.h"

#include <algorithm>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

class SelectAllParser {
 public:
  explicit SelectAllParser(std::string_view sql) : sql_(sql), left_(sql) {}

  TableName Parse() {
    SkipSpace();
    TakeWord("SELECT");
    SkipSpace();
    TakeCharacter('*');
    SkipSpace();
    TakeWord("FROM");
    TableName name;
    do {
      SkipSpace();
      name.push_back(TakePart());
      SkipSpace();
    } while (Skip('.'));
    Skip(';');
    SkipSpace();
    if (!left_.empty()) Refuse();
    return name;
  }

 private:
  [[noreturn]] void Refuse() const {
    constexpr std::size_t kShown = 200;  // characters
    std::string shown(Left(sql_, kShown));
    if (shown.size() < sql_.size()) shown += " ...";
    throw RuntimeError(
        ErrorNumber::kDatabase,
        "Diese Datenquelle liest nur ganze Tabellen (SELECT * FROM Tabelle), nicht die Anweisung: " + shown);
  }

  void SkipSpace() {
    while (!left_.empty() && IsSpace(left_.front())) left_.remove_prefix(1);
  }
  bool Skip(char c) {
    if (left_.empty() || left_.front() != c) return false;
    left_.remove_prefix(1);
    return true;
  }
  void TakeCharacter(char c) {
    if (!Skip(c)) Refuse();
  }
  void TakeWord(std::string_view word) {
    if (!EqualsIgnoringCase(left_.substr(0, word.size()), word)) Refuse();
    left_.remove_prefix(word.size());
    const bool ends = left_.empty() || IsSpace(left_.front()) || left_.front() == '*' || IsQuote(left_.front());
    if (!ends) Refuse();
  }

  static bool IsQuote(char c) { return c == '`' || c == '"' || c == '['; }

  std::string TakePart() {
    if (left_.empty()) Refuse();
    if (IsQuote(left_.front())) return TakeQuoted(left_.front() == '[' ? ']' : left_.front());
    std::string_view part = left_.substr(0, left_.find_first_of(".;`\"[]"));
    left_.remove_prefix(part.size());
    while (!part.empty() && IsSpace(part.back())) part.remove_suffix(1);
    if (part.empty()) Refuse();
    return std::string(part);
  }

  // Whether what follows can follow a part.
  bool PartEnds() const {
    const auto next = std::find_if_not(left_.begin(), left_.end(), IsSpace);
    return next == left_.end() || *next == '.' || *next == ';';
  }

  std::string TakeQuoted(char close) {
    left_.remove_prefix(1);
    std::string part;
    for (;;) {
      const std::size_t end = left_.find(close);
      if (end == std::string_view::npos) Refuse();
      part += left_.substr(0, end);
      left_.remove_prefix(end + 1);
      if (!Skip(close) && PartEnds()) break;
      part += close;
    }
    if (part.empty()) Refuse();
    return part;
  }

  std::string_view sql_;
  std::string_view left_;
};

}  // namespace

TableName ParseSelectAll(std::string_view sql) { return SelectAllParser(sql).Parse(); }

std::string JoinTableName(const TableName& name) {
  std::string whole;
  for (const std::string& part : name) {
    if (!whole.empty()) whole += '.';
    whole += part;
  }
  return whole;
}

}  // namespace kestrel
