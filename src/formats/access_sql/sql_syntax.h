// A SELECT statement of Access, as a tree.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::access_sql {

struct SelectStatement;

struct Expression {
  enum class Kind {
    kNull,
    kNumber,     // text: as written
    kText,       // text
    kDate,       // number: the serial
    kTruth,      // number: -1 or 0
    kName,       // parts: [table,] column; also what only looks like a name (parameters, form fields)
    kCall,       // text: the function; star for Count(*)
    kNegate,     // operands[0]
    kNot,        // operands[0]
    kBinary,     // text: the operator, words in lower case; operands[0], operands[1]
    kBetween,    // operands[0] Between operands[1] And operands[2]
    kIn,         // operands[0] In (operands[1] ...), or In (select)
    kIsNull,     // operands[0]
    kExists,     // select
    kSubselect,  // select, for its one value
  };
  Kind kind = Kind::kNull;
  std::string text;
  double number = 0;
  std::vector<std::string> parts;
  std::vector<std::unique_ptr<Expression>> operands;
  std::unique_ptr<SelectStatement> select;
  bool negated = false;  // Not Between, Not In, Not Like, Is Not Null
  bool star = false;
  bool distinct = false;
  bool by_mark = false;  // kName: joined by "!"
};

using ExpressionPtr = std::unique_ptr<Expression>;

enum class JoinKind { kInner, kLeft, kRight };

// A table or query under a name, a select in brackets, or two of these joined.
struct FromItem {
  std::string table;
  std::string alias;  // empty: the table's own name
  std::unique_ptr<SelectStatement> select;
  std::unique_ptr<FromItem> left;
  std::unique_ptr<FromItem> right;
  JoinKind join = JoinKind::kInner;
  ExpressionPtr on;
};

struct OutputColumn {
  ExpressionPtr expression;  // none for * and table.*
  std::string alias;
  std::string star_table;
};

struct OrderKey {
  ExpressionPtr expression;
  bool descending = false;
};

struct SelectStatement {
  bool distinct = false;
  bool distinct_row = false;
  std::optional<int> top;
  bool top_percent = false;
  std::vector<OutputColumn> columns;
  std::vector<std::unique_ptr<FromItem>> from;
  ExpressionPtr where;
  std::vector<ExpressionPtr> group_by;
  ExpressionPtr having;
  // Further selects, from left to right. The order of the whole stands in this statement.
  struct Union {
    bool all = false;
    std::unique_ptr<SelectStatement> select;
  };
  std::vector<Union> unions;
  std::vector<OrderKey> order_by;
  std::vector<std::string> parameters;
};

}  // namespace kestrel::access_sql
