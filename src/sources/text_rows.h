// The rows of a file's beginning, cut as the reader of text files cuts them, for a separator that is only tried.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct TriedSeparators {
  char delimiter = ';';
  char qualifier = '"';
};

struct TextRows {
  // Without qualifiers; an empty value behind the last delimiter is left out.
  std::vector<std::vector<std::string>> rows;
  // How many values begin and end with the qualifier.
  std::size_t enclosed_values = 0;
};

// The first `most` rows that are not empty. Where `is_whole` is false, the last row is left out, as it may go on.
TextRows CutRows(std::string_view text, bool is_whole, const TriedSeparators& separators, std::size_t most);

}  // namespace kestrel
