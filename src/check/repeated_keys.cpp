#include "check/repeated_keys.h"

#include <algorithm>
#include <functional>

namespace kestrel {

RepeatedKeys::RepeatedKeys(std::size_t kinds, std::int64_t records, std::size_t most_keys)
    : entries_(kinds), room_(most_keys) {
  // Exactly what is needed, as a vector that grows needs up to three times that.
  const auto expected = static_cast<std::size_t>(std::max<std::int64_t>(records, 0));
  for (std::vector<Entry>& entries : entries_) entries.reserve(std::min(expected, most_keys / kinds));
}

void RepeatedKeys::Add(std::size_t kind, std::string_view key, std::int64_t record) {
  if (key.empty() || compared_to_) return;
  if (room_ == 0 || record > UINT32_MAX) {
    compared_to_ = record - 1;
    return;
  }
  --room_;
  const std::uint64_t hash = std::hash<std::string_view>()(key);
  entries_[kind].push_back({static_cast<std::uint32_t>(hash >> 32), static_cast<std::uint32_t>(hash),
                            static_cast<std::uint32_t>(record)});
}

RepeatedKeys::Result RepeatedKeys::Find(std::size_t most) {
  Result result;
  result.compared_to = compared_to_;
  std::vector<bool> repeats;
  for (std::size_t kind = 0; kind < entries_.size(); ++kind) {
    std::vector<Entry>& entries = entries_[kind];
    std::sort(entries.begin(), entries.end());
    std::size_t first = 0;
    for (std::size_t i = 1; i < entries.size(); ++i) {
      if (entries[i].high != entries[first].high || entries[i].low != entries[first].low) {
        first = i;
        continue;
      }
      const std::size_t record = entries[i].record;
      if (repeats.size() <= record) repeats.resize(record + 1);
      if (repeats[record]) continue;
      repeats[record] = true;
      ++result.records;
      const Repeat repeat{entries[i].record, entries[first].record, kind};
      const auto place = std::lower_bound(result.first.begin(), result.first.end(), repeat,
                                          [](const Repeat& a, const Repeat& b) { return a.record < b.record; });
      result.first.insert(place, repeat);
      if (result.first.size() > most) result.first.pop_back();
    }
  }
  return result;
}

}  // namespace kestrel
