// Which records have a key in common with an earlier one: in 12 bytes a key, so that a million records fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

namespace kestrel {

class RepeatedKeys {
 public:
  // Of all kinds of keys together; what comes later is not compared.
  static constexpr std::size_t kMostKeys = 5'000'000;

  // `kinds`: how many kinds of keys a record may have. `records`: how many are expected, 0 where unknown.
  explicit RepeatedKeys(std::size_t kinds, std::int64_t records = 0, std::size_t most_keys = kMostKeys);

  // Records come in order, from 1. An empty key is none.
  void Add(std::size_t kind, std::string_view key, std::int64_t record);

  struct Repeat {
    std::int64_t record;
    std::int64_t earlier;  // the first record with that key
    std::size_t kind;
  };
  struct Result {
    std::int64_t records = 0;        // that repeat an earlier one
    std::vector<Repeat> first = {};  // some of them, in order
    std::optional<std::int64_t> compared_to =
        std::nullopt;  // the last record that was compared, where not all were
  };
  // Sorts what was added; once. At most `most` repeats are told.
  Result Find(std::size_t most);

 private:
  // Two halves instead of one number, so that no byte is lost between them.
  struct Entry {
    std::uint32_t high;
    std::uint32_t low;
    std::uint32_t record;
    bool operator<(const Entry& other) const {
      return std::tie(high, low, record) < std::tie(other.high, other.low, other.record);
    }
  };

  std::vector<std::vector<Entry>> entries_;  // by kind
  std::size_t room_;                         // for so many more
  std::optional<std::int64_t> compared_to_;
};

}  // namespace kestrel
