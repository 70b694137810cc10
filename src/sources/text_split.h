// Cutting a record into values: views into the record's bytes, without a copy.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel {

// How the text of a record is cut. Only for a delimiter and a qualifier of one ASCII character each that
// differ; text_source.h's SplitTextLine serves every other case.
struct SplitRules {
  char delimiter = ';';
  char qualifier = '"';
};

// The values of one record.
//
// Invariants
//  1. begins_[i] is where value i begins, and begins_[i + 1] one behind the character that ends it.
//  2. marked_ has a bit for each value: it holds qualifiers that do not enclose it, and has to lose them.
//  3. The bytes are those of the record, which stay where they are while values are asked for.
class ValueCuts {
 public:
  // Values behind so many are not told.
  static constexpr std::size_t kMost = 512;

  // Cuts the record, which is not empty and behind which kBlockSize more bytes can be read, up to its value number
  // `most`, at most kMost.
  void Cut(std::string_view record, const SplitRules& rules, std::size_t most);
  // The same with nothing but what every processor has.
  void CutPlainly(std::string_view record, const SplitRules& rules, std::size_t most);

  std::size_t count() const { return count_; }
  // Whether Text is of no use; for a number below count(), like all that follows.
  bool IsMarked(std::size_t value) const { return (marked_[value / 64] >> (value % 64) & 1) != 0; }
  // The bytes as they stand, a pair of qualifiers around them included.
  std::string_view Raw(std::size_t value) const {
    return {begins_[value], static_cast<std::size_t>(begins_[value + 1] - begins_[value]) - 1};
  }
  // Of a value that is not marked its text, without qualifiers around it.
  std::string_view Text(std::size_t value, char qualifier) const {
    const char* const begin = begins_[value];
    // Where one begins it, another one ends it, or it would be marked. Of an empty value this is the delimiter.
    const std::size_t enclosed = *begin == qualifier ? 1 : 0;
    return {begin + enclosed, static_cast<std::size_t>(begins_[value + 1] - begin) - 1 - 2 * enclosed};
  }

 private:
  // `Block` as in avx2_block.h.
  template <class Block>
  void CutBy(std::string_view record, const SplitRules& rules, std::size_t most);
  void CutByAvx2(std::string_view record, const SplitRules& rules, std::size_t most);

  // Room for a block's values behind the last one that is told.
  std::array<const char*, kMost + 65> begins_;
  std::array<std::uint64_t, kMost / 64 + 2> marked_;
  std::size_t count_ = 0;
};

}  // namespace kestrel
