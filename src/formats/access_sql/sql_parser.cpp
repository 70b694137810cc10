#include "formats/access_sql/sql_parser.h"

#include <algorithm>
#include <array>
#include <utility>

#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/sql_lexer.h"
#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel::access_sql {
namespace {

using Kind = Expression::Kind;

// Expressions nested deeper than this come from no person; reading them is recursive.
constexpr int kDeepest = 300;
// Nor more operators than this: a chain of them is a tree just as deep.
constexpr int kMostOperators = 1500;

// Words that end an expression, an alias or a table's name.
constexpr std::array<std::string_view, 30> kReserved{
    "select", "from",  "where", "group", "having", "order",   "by",  "union", "all",  "inner",
    "left",   "right", "join",  "on",    "as",     "and",     "or",  "not",   "xor",  "eqv",
    "imp",    "like",  "alike", "is",    "in",     "between", "mod", "asc",   "desc", "with"};

std::string Lower(std::string_view word) {
  std::string lower(word);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

ExpressionPtr Make(Kind kind) {
  auto expression = std::make_unique<Expression>();
  expression->kind = kind;
  return expression;
}

ExpressionPtr MakeBinary(std::string sign, ExpressionPtr left, ExpressionPtr right) {
  auto expression = Make(Kind::kBinary);
  expression->text = std::move(sign);
  expression->operands.push_back(std::move(left));
  expression->operands.push_back(std::move(right));
  return expression;
}

class Parser {
 public:
  explicit Parser(std::string_view sql) : tokens_(Tokenize(sql)) {}

  std::unique_ptr<SelectStatement> WholeSelect() {
    auto select = Statement();
    RequireEnd();
    return select;
  }
  ExpressionPtr WholeExpression() {
    auto expression = ParseOr();
    RequireEnd();
    return expression;
  }
  OutputColumn WholeColumn() {
    OutputColumn column = Column();
    RequireEnd();
    return column;
  }

 private:
  // Counts how deep the recursion is.
  class Level {
   public:
    explicit Level(int& depth) : depth_(depth) {
      if (++depth_ > kDeepest) throw SqlError("Der Ausdruck ist zu tief verschachtelt");
    }
    ~Level() { --depth_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

   private:
    int& depth_;
  };

  // --- Tokens ---
  const Token& Peek(std::size_t ahead = 0) const { return tokens_[std::min(at_ + ahead, tokens_.size() - 1)]; }
  Token Take() {
    Token token = Peek();
    if (at_ + 1 < tokens_.size()) ++at_;
    return token;
  }
  bool IsWord(std::string_view word, std::size_t ahead = 0) const {
    return Peek(ahead).kind == Token::Kind::kWord && EqualsIgnoringCase(Peek(ahead).text, word);
  }
  bool IsSign(std::string_view sign, std::size_t ahead = 0) const {
    return Peek(ahead).kind == Token::Kind::kSign && Peek(ahead).text == sign;
  }
  bool SkipWord(std::string_view word) {
    const bool found = IsWord(word);
    if (found) Take();
    return found;
  }
  bool SkipSign(std::string_view sign) {
    const bool found = IsSign(sign);
    if (found) Take();
    return found;
  }
  void NeedWord(std::string_view word) {
    if (!SkipWord(word)) Unexpected();
  }
  void NeedSign(std::string_view sign) {
    if (!SkipSign(sign)) Unexpected();
  }
  [[noreturn]] void Unexpected() const {
    throw SqlError(Peek().kind == Token::Kind::kEnd
                       ? "Der SQL-Text endet zu früh"
                       : "Der SQL-Text wird nicht verstanden bei '" + Peek().text + "'",
                   Peek().offset);
  }
  void RequireEnd() {
    SkipSign(";");
    if (Peek().kind != Token::Kind::kEnd) Unexpected();
  }
  bool IsReserved() const {
    return Peek().kind == Token::Kind::kWord &&
           std::find(kReserved.begin(), kReserved.end(), Lower(Peek().text)) != kReserved.end();
  }
  bool IsName() const {
    return Peek().kind == Token::Kind::kQuotedName || (Peek().kind == Token::Kind::kWord && !IsReserved());
  }
  std::string Name() {
    if (!IsName()) Unexpected();
    return Take().text;
  }

  // --- Statements ---
  std::unique_ptr<SelectStatement> Statement() {
    const Level level(depth_);
    std::vector<std::string> parameters;
    if (SkipWord("parameters")) parameters = Parameters();
    if (IsWord("transform")) throw SqlError(kCrosstabReason);
    auto first = SelectOrTable();
    while (SkipWord("union")) {
      const bool all = SkipWord("all");
      auto next = SelectOrTable();
      // The order written last is that of the whole.
      first->order_by = std::move(next->order_by);
      auto further = std::move(next->unions);
      first->unions.push_back({all, std::move(next)});
      for (auto& part : further) first->unions.push_back(std::move(part));
    }
    first->parameters = std::move(parameters);
    return first;
  }

  // PARAMETERS name type [(size)], ...;
  std::vector<std::string> Parameters() {
    std::vector<std::string> names;
    do {
      names.push_back(Name());
      while (!IsSign(",") && !IsSign(";")) {
        if (Peek().kind == Token::Kind::kEnd) Unexpected();
        Take();
      }
    } while (SkipSign(","));
    NeedSign(";");
    return names;
  }

  std::unique_ptr<SelectStatement> SelectOrTable() {
    if (SkipSign("(")) {
      auto inner = Statement();
      NeedSign(")");
      return inner;
    }
    if (IsWord("table") && Peek(1).kind != Token::Kind::kSign) {
      Take();
      auto select = std::make_unique<SelectStatement>();
      select->columns.emplace_back();
      select->from.push_back(std::make_unique<FromItem>());
      select->from.back()->table = Name();
      return select;
    }
    return Select();
  }

  std::unique_ptr<SelectStatement> Select() {
    NeedWord("select");
    auto select = std::make_unique<SelectStatement>();
    Predicates(*select);
    do {
      select->columns.push_back(Column());
    } while (SkipSign(","));
    if (SkipWord("from")) {
      do {
        select->from.push_back(Joined());
      } while (SkipSign(","));
      if (IsWord("in")) throw SqlError("Die Abfrage liest Tabellen aus einer anderen Datei (IN)");
    }
    if (SkipWord("where")) select->where = ParseOr();
    if (SkipWord("group")) {
      NeedWord("by");
      do {
        select->group_by.push_back(ParseOr());
      } while (SkipSign(","));
    }
    if (SkipWord("having")) select->having = ParseOr();
    if (SkipWord("order")) {
      NeedWord("by");
      do {
        OrderKey key{ParseOr(), false};
        key.descending = SkipWord("desc");
        if (!key.descending) SkipWord("asc");
        select->order_by.push_back(std::move(key));
      } while (SkipSign(","));
    }
    if (SkipWord("with")) {
      NeedWord("owneraccess");
      NeedWord("option");
    }
    return select;
  }

  void Predicates(SelectStatement& select) {
    for (;;) {
      if (SkipWord("distinct")) {
        select.distinct = true;
      } else if (SkipWord("distinctrow")) {
        select.distinct_row = true;
      } else if (IsWord("top") && Peek(1).kind == Token::Kind::kNumber) {
        Take();
        const auto count = ParseWholeNumber(Take().text);
        if (!count || *count > 0x7FFFFFFF) Unexpected();
        select.top = static_cast<int>(*count);
        select.top_percent = SkipWord("percent");
      } else if (!SkipWord("all")) {
        return;
      }
    }
  }

  OutputColumn Column() {
    OutputColumn column;
    if (SkipSign("*")) return column;
    if (IsName() && (IsSign(".", 1) || IsSign("!", 1)) && IsSign("*", 2)) {
      column.star_table = Take().text;
      Take();
      Take();
      return column;
    }
    column.expression = ParseOr();
    if (SkipWord("as") || IsName()) column.alias = Name();
    return column;
  }

  std::unique_ptr<FromItem> Joined() {
    const Level level(depth_);
    auto left = Source();
    for (;;) {
      JoinKind kind = JoinKind::kInner;
      if (IsWord("left") || IsWord("right")) {
        kind = SkipWord("left") ? JoinKind::kLeft : JoinKind::kRight;
        if (kind == JoinKind::kRight) Take();
        SkipWord("outer");
      } else if (!SkipWord("inner") && !IsWord("join")) {
        return left;
      }
      NeedWord("join");
      auto joined = std::make_unique<FromItem>();
      joined->join = kind;
      joined->left = std::move(left);
      joined->right = Source();
      NeedWord("on");
      joined->on = ParseOr();
      left = std::move(joined);
    }
  }

  std::unique_ptr<FromItem> Source() {
    auto item = std::make_unique<FromItem>();
    if (SkipSign("(")) {
      if (!IsWord("select")) {
        item = Joined();
        NeedSign(")");
        return item;
      }
      item->select = Statement();
      NeedSign(")");
    } else {
      item->table = Name();
      // A name in two parts is a database and its table; only this database is at hand.
      if (SkipSign("."))
        throw SqlError("Die Abfrage liest Tabellen aus einer anderen Datei ('" + item->table + "')");
    }
    if (SkipWord("as") || IsName()) item->alias = Name();
    return item;
  }

  // --- Expressions, from the loosest operator to the tightest ---
  using Step = ExpressionPtr (Parser::*)();

  ExpressionPtr LeftToRight(Step operand, std::initializer_list<std::string_view> words,
                            std::initializer_list<std::string_view> signs) {
    auto left = (this->*operand)();
    for (;;) {
      const bool word = std::any_of(words.begin(), words.end(), [&](auto text) { return IsWord(text); });
      const bool sign = std::any_of(signs.begin(), signs.end(), [&](auto text) { return IsSign(text); });
      if (!word && !sign) return left;
      if (++operators_ > kMostOperators) throw SqlError("Der Ausdruck ist zu lang");
      std::string text = Lower(Take().text);
      left = MakeBinary(std::move(text), std::move(left), (this->*operand)());
    }
  }

  ExpressionPtr ParseOr() {
    const Level level(depth_);
    return LeftToRight(&Parser::ParseAnd, {"or", "xor", "eqv", "imp"}, {});
  }
  ExpressionPtr ParseAnd() { return LeftToRight(&Parser::ParseNot, {"and"}, {}); }

  ExpressionPtr ParseNot() {
    if (!SkipWord("not")) return ParseComparison();
    const Level level(depth_);
    auto expression = Make(Kind::kNot);
    expression->operands.push_back(ParseNot());
    return expression;
  }

  ExpressionPtr ParseComparison() {
    auto left = ParseConcatenation();
    for (;;) {
      if (SkipWord("is")) {
        auto test = Make(Kind::kIsNull);
        test->negated = SkipWord("not");
        NeedWord("null");
        test->operands.push_back(std::move(left));
        left = std::move(test);
        continue;
      }
      const bool negated = IsWord("not") && (IsWord("between", 1) || IsWord("in", 1) || IsWord("like", 1));
      if (negated) Take();
      if (SkipWord("between")) {
        left = Between(std::move(left));
      } else if (IsWord("in")) {
        Take();
        left = In(std::move(left));
      } else if (IsWord("like") || IsWord("alike")) {
        std::string word = Lower(Take().text);
        left = MakeBinary(std::move(word), std::move(left), ParseConcatenation());
      } else if (IsSign("=") || IsSign("<>") || IsSign("<") || IsSign(">") || IsSign("<=") || IsSign(">=")) {
        std::string sign = Take().text;
        left = MakeBinary(std::move(sign), std::move(left), ParseConcatenation());
      } else {
        return left;
      }
      left->negated = negated;
    }
  }

  ExpressionPtr Between(ExpressionPtr value) {
    auto between = Make(Kind::kBetween);
    between->operands.push_back(std::move(value));
    between->operands.push_back(ParseConcatenation());
    NeedWord("and");
    between->operands.push_back(ParseConcatenation());
    return between;
  }

  ExpressionPtr In(ExpressionPtr value) {
    auto in = Make(Kind::kIn);
    in->operands.push_back(std::move(value));
    NeedSign("(");
    if (IsWord("select")) {
      in->select = Statement();
    } else {
      do {
        in->operands.push_back(ParseOr());
      } while (SkipSign(","));
    }
    NeedSign(")");
    return in;
  }

  ExpressionPtr ParseConcatenation() { return LeftToRight(&Parser::ParseSum, {}, {"&"}); }
  ExpressionPtr ParseSum() { return LeftToRight(&Parser::ParseModulo, {}, {"+", "-"}); }
  ExpressionPtr ParseModulo() { return LeftToRight(&Parser::ParseWholeDivision, {"mod"}, {}); }
  ExpressionPtr ParseWholeDivision() { return LeftToRight(&Parser::ParseProduct, {}, {"\\"}); }
  ExpressionPtr ParseProduct() { return LeftToRight(&Parser::ParseSign, {}, {"*", "/"}); }

  ExpressionPtr ParseSign() {
    const Level level(depth_);
    if (SkipSign("+")) return ParseSign();
    if (!SkipSign("-")) return LeftToRight(&Parser::ParsePrimary, {}, {"^"});
    auto expression = Make(Kind::kNegate);
    expression->operands.push_back(ParseSign());
    return expression;
  }

  ExpressionPtr ParsePrimary() {
    switch (Peek().kind) {
      case Token::Kind::kNumber: {
        auto number = Make(Kind::kNumber);
        number->text = Take().text;
        return number;
      }
      case Token::Kind::kText: {
        auto text = Make(Kind::kText);
        text->text = Take().text;
        return text;
      }
      case Token::Kind::kDate: return Date(Take().text);
      case Token::Kind::kSign: {
        if (IsSign("-") || IsSign("+")) return ParseSign();  // 2 ^ -1
        NeedSign("(");
        if (IsWord("select")) return Subselect(Kind::kSubselect);
        auto inner = ParseOr();
        NeedSign(")");
        return inner;
      }
      default: return NameOrCall();
    }
  }

  static ExpressionPtr Date(const std::string& literal) {
    const auto serial = ParseDateLiteral(literal);
    if (!serial) throw SqlError("'#" + literal + "#' ist kein Datum");
    auto date = Make(Kind::kDate);
    date->number = *serial;
    return date;
  }

  // Behind the opening bracket.
  ExpressionPtr Subselect(Kind kind) {
    auto expression = Make(kind);
    expression->select = Statement();
    NeedSign(")");
    return expression;
  }

  ExpressionPtr NameOrCall() {
    if (IsWord("exists") && IsSign("(", 1)) {
      Take();
      Take();
      return Subselect(Kind::kExists);
    }
    const bool function = Peek().kind == Token::Kind::kWord && IsSign("(", 1) &&
                          (!IsReserved() || IsWord("left") || IsWord("right") || IsWord("asc"));
    if (function) return Call();
    if (Peek().kind == Token::Kind::kWord) {
      if (auto constant = Constant()) return constant;
    }
    auto name = Make(Kind::kName);
    name->parts.push_back(Name());
    while (IsSign(".") || IsSign("!")) {
      name->by_mark = name->by_mark || IsSign("!");
      Take();
      // Behind a point every word is a name.
      if (Peek().kind != Token::Kind::kWord && Peek().kind != Token::Kind::kQuotedName) Unexpected();
      name->parts.push_back(Take().text);
    }
    return name;
  }

  ExpressionPtr Constant() {
    if (IsSign(".", 1) || IsSign("!", 1)) return nullptr;
    if (SkipWord("null")) return Make(Kind::kNull);
    const bool truth = IsWord("true") || IsWord("yes") || IsWord("on");
    if (!truth && !IsWord("false") && !IsWord("no") && !IsWord("off")) return nullptr;
    if (IsReserved()) return nullptr;  // ON belongs to a join
    Take();
    auto constant = Make(Kind::kTruth);
    constant->number = truth ? -1 : 0;
    return constant;
  }

  ExpressionPtr Call() {
    auto call = Make(Kind::kCall);
    call->text = Lower(Take().text);
    if (call->text.ends_with('$')) call->text.pop_back();
    NeedSign("(");
    if (SkipSign(")")) return call;
    if (IsSign("*") && IsSign(")", 1)) {
      Take();
      Take();
      call->star = true;
      return call;
    }
    call->distinct = SkipWord("distinct");
    do {
      call->operands.push_back(ParseOr());
    } while (SkipSign(","));
    NeedSign(")");
    return call;
  }

  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  int depth_ = 0;
  int operators_ = 0;
};

}  // namespace

std::unique_ptr<SelectStatement> ParseSelect(std::string_view sql) { return Parser(sql).WholeSelect(); }
ExpressionPtr ParseExpression(std::string_view sql) { return Parser(sql).WholeExpression(); }
OutputColumn ParseOutputColumn(std::string_view sql) { return Parser(sql).WholeColumn(); }

}  // namespace kestrel::access_sql
