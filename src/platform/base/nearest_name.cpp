#include "platform/base/nearest_name.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/base/text.h"

namespace kestrel {

namespace {

std::vector<char32_t> CharactersOf(std::string_view text) {
  std::vector<char32_t> characters;
  for (std::size_t position = 0; position < text.size();) characters.push_back(NextCodePoint(text, position));
  return characters;
}

// What two ways of writing one name have in common.
std::string Folded(std::string_view name) {
  constexpr std::pair<const char*, const char*> kWrittenOut[] = {
      {"Ä", "AE"}, {"Ö", "OE"}, {"Ü", "UE"}, {"ß", "SS"}};
  std::string folded = UpperCase(RepairUtf8(name));
  for (const auto& [letter, letters] : kWrittenOut) folded = ReplaceAll(folded, letter, letters);
  return folded;
}

std::vector<std::string> FoldedAll(std::span<const std::string> names) {
  std::vector<std::string> folded;
  for (const std::string& name : names) folded.push_back(Folded(name));
  return folded;
}

}  // namespace

std::size_t EditDistance(std::string_view a, std::string_view b) {
  const std::vector<char32_t> from = CharactersOf(a);
  const std::vector<char32_t> to = CharactersOf(b);
  // Row i tells what the first i characters cost; a swap looks back two rows.
  std::array<std::vector<std::size_t>, 3> rows;
  rows.fill(std::vector<std::size_t>(to.size() + 1));
  for (std::size_t j = 0; j <= to.size(); ++j) rows[0][j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::vector<std::size_t>& row = rows[i % 3];
    const std::vector<std::size_t>& above = rows[(i + 2) % 3];
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t replaced = above[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        row[j] = std::min(row[j], rows[(i + 1) % 3][j - 2] + 1);
      }
    }
  }
  return rows[from.size() % 3][to.size()];
}

std::vector<std::optional<std::size_t>> NearestNames(std::span<const std::string> names,
                                                     std::span<const std::string> candidates) {
  struct Pair {
    std::size_t distance;
    std::size_t name;
    std::size_t candidate;
  };
  const std::vector<std::string> wanted = FoldedAll(names);
  const std::vector<std::string> offered = FoldedAll(candidates);
  std::vector<Pair> pairs;
  for (std::size_t i = 0; i < names.size(); ++i) {
    for (std::size_t j = 0; j < candidates.size(); ++j) {
      if (candidates[j].empty()) continue;
      const std::size_t distance = EditDistance(wanted[i], offered[j]);
      const std::size_t longer = std::max(LengthInCharacters(wanted[i]), LengthInCharacters(offered[j]));
      if (distance <= longer / 3) pairs.push_back({distance, i, j});
    }
  }
  // They stand in the order of the names, which stays among equals.
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const Pair& one, const Pair& other) { return one.distance < other.distance; });
  std::vector<std::optional<std::size_t>> nearest(names.size());
  std::vector<bool> is_taken(candidates.size());
  for (const Pair& pair : pairs) {
    if (nearest[pair.name] || is_taken[pair.candidate]) continue;
    nearest[pair.name] = pair.candidate;
    is_taken[pair.candidate] = true;
  }
  return nearest;
}

std::optional<std::string> NearestName(const std::string& name, std::span<const std::string> candidates) {
  const std::optional<std::size_t> nearest = NearestNames({&name, 1}, candidates)[0];
  return nearest ? std::optional(candidates[*nearest]) : std::nullopt;
}

}  // namespace kestrel
