#include "keys/text_similarity.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kestrel::host {

namespace {

// Leaves what is between their common start and end.
void Strip(std::string_view& a, std::string_view& b) {
  a = a.substr(0, kMostLetters);
  b = b.substr(0, kMostLetters);
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t start = 0;
  while (start < shorter && a[start] == b[start]) ++start;
  a.remove_prefix(start);
  b.remove_prefix(start);
  while (!a.empty() && !b.empty() && a.back() == b.back()) {
    a.remove_suffix(1);
    b.remove_suffix(1);
  }
}

}  // namespace

bool IsOneEditApart(std::string_view a, std::string_view b) {
  Strip(a, b);
  const bool are_exchanged = a.size() == 2 && b.size() == 2 && a[0] == b[1] && a[1] == b[0];
  return are_exchanged || std::max(a.size(), b.size()) == 1;
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
  Strip(a, b);
  if (a.empty() || b.empty()) return std::max(a.size(), b.size());
  using Row = std::array<std::uint8_t, kMostLetters + 1>;
  std::array<Row, 3> rows;
  Row* before = &rows[0];
  Row* last = &rows[1];
  Row* row = &rows[2];
  for (std::size_t j = 0; j <= b.size(); ++j) (*last)[j] = static_cast<std::uint8_t>(j);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    (*row)[0] = static_cast<std::uint8_t>(i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      int least =
          std::min({(*last)[j] + 1, (*row)[j - 1] + 1, (*last)[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        least = std::min(least, (*before)[j - 2] + 1);
      }
      (*row)[j] = static_cast<std::uint8_t>(least);
    }
    Row* const oldest = before;
    before = last;
    last = row;
    row = oldest;
  }
  return (*last)[b.size()];
}

double JaroWinkler(std::string_view a, std::string_view b) {
  if (a == b) return 1;
  a = a.substr(0, kMostLetters);
  b = b.substr(0, kMostLetters);
  const std::size_t longer = std::max(a.size(), b.size());
  const std::size_t window = longer < 4 ? 0 : longer / 2 - 1;
  std::uint64_t shared_in_b = 0;
  std::array<char, kMostLetters> shared{};
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const std::size_t end = std::min(b.size(), i + window + 1);
    for (std::size_t j = i > window ? i - window : 0; j < end; ++j) {
      if (a[i] != b[j] || (shared_in_b >> j & 1) != 0) continue;
      shared_in_b |= std::uint64_t{1} << j;
      shared[count++] = a[i];
      break;
    }
  }
  if (count == 0) return 0;
  std::size_t moved = 0;
  for (std::size_t j = 0, next = 0; j < b.size(); ++j) {
    if ((shared_in_b >> j & 1) != 0 && b[j] != shared[next++]) ++moved;
  }
  const auto part = [count](std::size_t of) { return static_cast<double>(count) / static_cast<double>(of); };
  const double half_moved = static_cast<double>(moved) / 2;
  const double jaro = (part(a.size()) + part(b.size()) +
                       (static_cast<double>(count) - half_moved) / static_cast<double>(count)) /
                      3;
  constexpr std::size_t kPrefix = 4;
  std::size_t prefix = 0;
  while (prefix < kPrefix && prefix < a.size() && prefix < b.size() && a[prefix] == b[prefix]) ++prefix;
  return jaro + static_cast<double>(prefix) * 0.1 * (1 - jaro);
}

}  // namespace kestrel::host
