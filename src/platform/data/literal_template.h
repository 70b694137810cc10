// Queries that differ only in their text literals share one compiled statement: the literals are taken out
// and bound as parameters.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

// The template of one query. Kept between queries, so that making one allocates nothing in the long run.
class LiteralTemplate {
 public:
  // Takes the '...' literals behind the first WHERE out of `sql`. Those before it stay, as they may name
  // columns. Returns false, leaving nothing of use, where the text is better taken as it stands: no
  // literal to take, parameters of its own, more than 64 literals, or a quote or comment that is not closed.
  bool Make(std::string_view sql);

  // The query with "?" in the places of the literals.
  const std::string& Sql() const { return sql_; }
  std::size_t LiteralCount() const { return pieces_.size(); }
  // The content of a literal, doubled apostrophes undone; lives until the next Make.
  std::string_view Literal(std::size_t index) const;

 private:
  // Takes the literals of a text that differs from the last one in them alone; false, with nothing changed, for
  // every other text.
  bool TakeRepeated(std::string_view sql);
  // Keeps what stands between the apostrophes of a literal; false where there are too many.
  bool TakeLiteral(std::string_view content);

  std::string sql_;
  std::string literals_;
  std::vector<std::pair<std::size_t, std::size_t>> pieces_;  // start and length in literals_
  // The last text, where none of its literals holds an apostrophe, and where they begin in it.
  std::string last_;
  std::vector<std::size_t> starts_;
};

}  // namespace kestrel
