#include "sources/text_split.h"

#include "platform/base/byte_blocks.h"

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

// `line_ends_in(at, block)`: the line ends among the bytes from `at` on.
template <class LineEnds>
inline std::size_t Split(const char* line, const SplitRules& rules, std::span<RawValue> values,
                         LineEnds&& line_ends_in) {
  if (values.empty()) return 0;
  RawValue* next = values.data();
  RawValue* const full = next + values.size();
  const auto count = [&] { return static_cast<std::size_t>(next - values.data()); };
  const char* value = line;
  std::uint64_t begins_here = 1;  // 1 where a value begins with the block
  std::uint64_t quoted_from = 0;  // all ones where the block begins inside qualifiers
  std::uint64_t decode_from = 0;  // 1 where the value that the block goes on with has a byte to decode

  for (const char* at = line;; at += kBlockSize) {
    const ByteBlock block(at);
    const std::uint64_t line_ends = line_ends_in(at, block);
    const std::uint64_t line_end = LowestBit(line_ends);
    const std::uint64_t within = BitsBelowLowest(line_ends);
    const std::uint64_t qualifiers = block.Equal(rules.qualifier) & within;
    const std::uint64_t quoted = PrefixParity(qualifiers) ^ quoted_from;

    std::uint64_t ends = block.Equal(rules.delimiter) & within & ~quoted;
    if (line_end != 0) {
      // The last value ends here, unless a delimiter ended it already or its qualifier is still open.
      const char before = at[std::countr_zero(line_end) - 1];
      if (before != rules.delimiter && (quoted & line_end) == 0) ends |= line_end;
    }

    // A pair of qualifiers around a value is left out without decoding. They come in pairs: a value that
    // ends has an even number of them, so with one at its begin and no other inside, one stands at its end.
    const std::uint64_t begins = ends << 1 | begins_here;
    const std::uint64_t enclosing = qualifiers & (begins | ends >> 1);
    std::uint64_t to_decode = qualifiers & ~enclosing;
    if (rules.decode_high_bytes) to_decode |= block.High() & within;
    const MarkedEnds marked = CarryMarksToEnds(to_decode, ends, decode_from);

    for (std::uint64_t left = ends; left != 0; left &= left - 1) {
      const int end_bit = std::countr_zero(left);
      const char* end = at + end_bit;
      const bool plain = (marked.ends >> end_bit & 1) == 0;
      const std::size_t enclosed = plain && *value == rules.qualifier ? 1 : 0;
      *next = {value + enclosed, static_cast<std::size_t>(end - value) - 2 * enclosed, plain};
      if (++next == full) return count();
      value = end + 1;
    }
    if (line_end != 0) return count();
    begins_here = ends >> 63;
    quoted_from = (quoted >> 63) != 0 ? ~std::uint64_t{0} : 0;
    decode_from = marked.beyond;
  }
}

}  // namespace

std::size_t SplitLine(const char* line, const SplitRules& rules, std::span<RawValue> values) {
  return Split(line, rules, values,
               [&rules](const char*, const ByteBlock& block) { return block.Equal(rules.line_end); });
}

std::size_t SplitText(std::string_view line, const SplitRules& rules, std::span<RawValue> values) {
  const char* const end = line.data() + line.size();
  return Split(line.data(), rules, values, [end](const char* at, const ByteBlock&) {
    const auto left = static_cast<std::size_t>(end - at);
    return left < kBlockSize ? std::uint64_t{1} << left : 0;
  });
}

}  // namespace kestrel
