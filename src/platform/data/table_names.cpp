#include "platform/data/table_names.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrel {

namespace {

bool IsOfName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Behind what begins at `at` and is no name: a text or name in quotes with the quotes doubled in it, or one character.
std::size_t BehindOther(std::string_view sql, std::size_t at) {
  const char quote = sql[at];
  if (quote != '\'' && quote != '"') return at + 1;
  const std::size_t end = sql.find(quote, at + 1);
  return end == std::string_view::npos ? sql.size() : end + 1;
}

}  // namespace

void TableNames::Prefix(std::string prefix, std::vector<std::string> names) {
  prefix_ = std::move(prefix);
  names_ = std::move(names);
}

bool TableNames::Has(std::string_view name) const {
  return std::ranges::any_of(names_, [&](const std::string& own) { return EqualsIgnoringCase(own, name); });
}

std::string TableNames::InDatabase(std::string_view name) const {
  return AreOthers() && Has(name) ? prefix_ + std::string(name) : std::string(name);
}

std::string_view TableNames::InStatements(std::string_view name) const {
  if (!AreOthers() || name.size() <= prefix_.size()) return name;
  const std::string_view own = name.substr(prefix_.size());
  return EqualsIgnoringCase(name.substr(0, prefix_.size()), prefix_) && Has(own) ? own : name;
}

std::string_view TableNames::Translate(std::string_view sql, std::string& memory) const {
  if (!AreOthers()) return sql;
  memory.clear();
  for (std::size_t at = 0; at < sql.size();) {
    std::size_t end = at;
    while (end < sql.size() && IsOfName(sql[end])) ++end;
    if (end > at) {
      const std::string_view name = sql.substr(at, end - at);
      if (Has(name)) memory += prefix_;
      memory += name;
    } else {
      end = BehindOther(sql, at);
      memory += sql.substr(at, end - at);
    }
    at = end;
  }
  return memory;
}

}  // namespace kestrel
