#include "platform/data/connection_string.h"

#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The character that ends a value opened by `opening`, or 0 for a value without quotes.
char ClosingOf(char opening) {
  switch (opening) {
    case '{': return '}';
    case '"': return '"';
    case '\'': return '\'';
    default: return 0;
  }
}

// Reads the value that starts at `position` and moves `position` behind its ";".
std::string TakeValue(std::string_view text, std::size_t& position) {
  const std::size_t start = text.find_first_not_of(kBlanks, position);
  const char closing = start == std::string_view::npos ? char{0} : ClosingOf(text[start]);
  std::string value;
  if (closing != 0) {
    std::size_t at = start + 1;
    for (; at < text.size(); ++at) {
      if (text[at] == closing) {
        if (at + 1 >= text.size() || text[at + 1] != closing) break;
        ++at;
      }
      value.push_back(text[at]);
    }
    position = text.find(';', at);
  } else {
    const std::size_t end = text.find(';', position);
    value = Trim(text.substr(position, end == std::string_view::npos ? end : end - position));
    position = end;
  }
  position = position == std::string_view::npos ? text.size() : position + 1;
  return value;
}

}  // namespace

ConnectionKeys::ConnectionKeys(std::string_view text) : text_(text) {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t end = text.find_first_of("=;", position);
    if (end == std::string_view::npos) return;
    const std::string_view key = Trim(text.substr(position, end - position));
    position = end + 1;
    if (text[end] == ';') continue;
    std::string value = TakeValue(text, position);
    if (!key.empty()) entries_.push_back(Entry{std::string(key), std::move(value)});
  }
}

std::optional<std::string> ConnectionKeys::Find(std::string_view key) const {
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    if (EqualsIgnoringCase(entry->key, key)) return entry->value;
  }
  return std::nullopt;
}

std::string ConnectionKeys::Get(std::string_view key) const { return Find(key).value_or(std::string()); }

}  // namespace kestrel
