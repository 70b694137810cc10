#include "duplicates/known_spellings.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

// What a spelling and a key cost beside their texts, about.
constexpr std::size_t kSpellingBytes = 160;
constexpr std::size_t kKeyBytes = 96;

}  // namespace

void KnownSpellings::Add(const Keys& keys, Spelling spelling) {
  std::size_t bytes = kSpellingBytes + spelling.key_text.size() + spelling.reference.size();
  for (const std::string_view key : keys) bytes += key.empty() ? 0 : kKeyBytes + key.size();
  if (bytes > most_bytes_ - bytes_) return;
  bytes_ += bytes;
  for (std::size_t i = 0; i < kKeys; ++i) {
    if (!keys[i].empty()) places_[i][std::string(keys[i])].push_back(spellings_.size());
  }
  spellings_.push_back(std::move(spelling));
}

void KnownSpellings::Visit(const Keys& keys, const std::function<void(const Spelling&, int key)>& look) const {
  std::vector<std::size_t> visited;
  for (std::size_t i = 0; i < kKeys; ++i) {
    if (keys[i].empty()) continue;
    const auto found = places_[i].find(keys[i]);
    if (found == places_[i].end()) continue;
    for (const std::size_t place : found->second) {
      if (std::ranges::find(visited, place) != visited.end()) continue;
      visited.push_back(place);
      look(spellings_[place], static_cast<int>(i) + 1);
    }
  }
}

}  // namespace kestrel
