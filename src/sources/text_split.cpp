#include "sources/text_split.h"

#include <algorithm>

#include "platform/base/avx2_block.h"

namespace kestrel {

namespace {

// Which ends of values follow a value that holds a marked byte.
struct MarkedEnds {
  std::uint64_t ends;
  std::uint64_t beyond;  // 1 where the value that goes on in the next block holds one so far
};

// Adds the marks to runs of ones that stand for the bytes of each value: a run holds a mark exactly when
// the sum carries into the zero that stands for the value's end. At most one carry leaves a run, as twice
// its ones and a carry from before still fit the run and its end.
inline MarkedEnds CarryMarksToEnds(std::uint64_t marks, std::uint64_t ends, std::uint64_t carry) {
  const std::uint64_t bytes = ~ends;
  const std::uint64_t marked = bytes + marks;
  const std::uint64_t sum = marked + carry;
  return {sum & ends, static_cast<std::uint64_t>(marked < bytes || sum < marked)};
}

}  // namespace

template <class Block>
[[gnu::always_inline]] inline void ValueCuts::CutBy(std::string_view record, const SplitRules& rules,
                                                    std::size_t most) {
  const char* const end = record.data() + record.size();
  const bool ends_in_delimiter = record.back() == rules.delimiter;
  begins_[0] = record.data();
  marked_[0] = 0;
  std::size_t count = 0;
  std::uint64_t begins_here = 1;  // 1 where a value begins with the block
  std::uint64_t quoted_from = 0;  // all ones where the block begins inside qualifiers
  std::uint64_t marked_from = 0;  // 1 where the value that the block goes on with holds a mark

  for (const char* at = record.data(); count < most; at += kBlockSize) {
    const Block block(at);
    const auto left = static_cast<std::size_t>(end - at);
    const bool is_last = left < kBlockSize;
    const std::uint64_t record_end = is_last ? std::uint64_t{1} << left : 0;
    const std::uint64_t within = record_end - 1;
    const std::uint64_t qualifiers = block.Equal(rules.qualifier) & within;
    const std::uint64_t quoted = Block::Parity(qualifiers) ^ quoted_from;
    std::uint64_t ends = block.Equal(rules.delimiter) & within & ~quoted;
    // The last value ends with the record, unless a delimiter ended it already or its qualifier is still open.
    ends |= ends_in_delimiter ? 0 : record_end & ~quoted;

    // A pair of qualifiers around a value is left out without a copy. They come in pairs: a value that
    // ends has an even number of them, so with one at its begin and no other inside, one stands at its end.
    const std::uint64_t begins = ends << 1 | begins_here;
    const std::uint64_t enclosing = qualifiers & (begins | ends >> 1);
    const MarkedEnds marked = CarryMarksToEnds(qualifiers & ~enclosing, ends, marked_from);

    begins_here = ends >> 63;
    quoted_from = std::uint64_t{0} - (quoted >> 63);
    marked_from = marked.beyond;

    const std::uint64_t marks = Block::Extract(marked.ends, ends);
    const std::size_t word = count / 64;
    marked_[word] |= marks << (count % 64);
    marked_[word + 1] = marks >> 1 >> (63 - count % 64);
    // Most blocks hold no more; what is written behind the last one does not count.
    constexpr std::size_t kAtOnce = 8;
    const auto found = static_cast<std::size_t>(std::popcount(ends));
    const char** const next = &begins_[count + 1];
    for (std::size_t written = 0; written < found; written += kAtOnce) {
      for (std::size_t i = 0; i < kAtOnce; ++i, ends &= ends - 1) {
        next[written + i] = at + std::countr_zero(ends) + 1;
      }
    }
    count += found;
    if (is_last) break;
  }
  count_ = std::min(count, most);
}

#if defined(__x86_64__)
KESTREL_FOR_AVX2 void ValueCuts::CutByAvx2(std::string_view record, const SplitRules& rules, std::size_t most) {
  CutBy<Avx2Block>(record, rules, most);
}
#endif

void ValueCuts::Cut(std::string_view record, const SplitRules& rules, std::size_t most) {
#if defined(__x86_64__)
  if (HasAvx2()) return CutByAvx2(record, rules, most);
#endif
  CutPlainly(record, rules, most);
}

void ValueCuts::CutPlainly(std::string_view record, const SplitRules& rules, std::size_t most) {
  CutBy<PlainBlock>(record, rules, most);
}

}  // namespace kestrel
