// How records that were held back in this import wrote addresses of the host: a later record may be like one of them
// where it is not like the address itself.
//
// Invariants
//  1. Only what was held back for a reason is here, never an exact repetition: that teaches no new spelling.
//  2. A spelling is found by each of the keys in use that it had; it leads to the address that it repeats.
//  3. At most kMostBytes are kept: what comes later is not remembered.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel {

// How a record was written, and the row of the host's index that it repeats.
struct Spelling {
  std::string key_text;
  std::int64_t address_type = 0;
  std::string reference;
};

class KnownSpellings {
 public:
  static constexpr std::size_t kKeys = 3;
  static constexpr std::size_t kMostBytes = std::size_t{64} << 20;
  // In the order of the columns; empty for a key that is not in use.
  using Keys = std::array<std::string_view, kKeys>;

  explicit KnownSpellings(std::size_t most_bytes = kMostBytes) : most_bytes_(most_bytes) {}

  bool empty() const { return spellings_.empty(); }
  void Add(const Keys& keys, Spelling spelling);
  // Calls `look` with each that has one of the keys, once, and the number of the first such key, from 1; the earliest
  // of each key first. Raises what `look` raises.
  void Visit(const Keys& keys, const std::function<void(const Spelling&, int key)>& look) const;

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Places = std::unordered_map<std::string, std::vector<std::size_t>, Hash, std::equal_to<>>;

  std::size_t most_bytes_;
  std::size_t bytes_ = 0;
  std::vector<Spelling> spellings_;
  std::array<Places, kKeys> places_;  // in spellings_, by key
};

}  // namespace kestrel
