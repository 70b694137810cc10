#include "sources/enclosed_values.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/base/avx2_block.h"

namespace kestrel {

namespace {

std::uint64_t Bit(std::size_t bit) { return std::uint64_t{1} << bit; }
// The bits below; all of them for kBlockSize.
std::uint64_t Below(std::size_t bit) { return bit < kBlockSize ? Bit(bit) - 1 : ~std::uint64_t{0}; }

// The second and further bytes of UTF-8 characters.
std::uint64_t ContinuationBytes(const char* bytes) {
  std::uint64_t mask = 0;
  for (std::size_t i = 0; i < kBlockSize; ++i) {
    if ((static_cast<unsigned char>(bytes[i]) & 0xC0) == 0x80) mask |= Bit(i);
  }
  return mask;
}

}  // namespace

std::size_t EnclosedValues::Judgeable(std::size_t position, std::size_t left, std::size_t blocks) const {
  if (skip_ || counting_ || left == 0) return 0;
  // The block with the text's end is none of them, nor is that with the refused qualifier, nor one in which a value
  // might get too long.
  blocks = std::min({blocks, (left - 1) / kBlockSize, kMostAhead});
  if (refused_ >= position) blocks = std::min(blocks, (refused_ - position) / kBlockSize);
  if (is_open()) blocks = std::min(blocks, (kLongest - std::min(kLongest, position - opened_)) / kBlockSize);
  return blocks;
}

// Where every qualifier stands at an end of a value or in a pair, those that open and those that close take
// turns, so that what lies between them is the parity of their number.
template <class ByteBlocks>
[[gnu::always_inline]] inline std::size_t EnclosedValues::LookAheadBy(const char* bytes, std::size_t position,
                                                                      std::span<std::uint64_t> line_feeds) {
  constexpr std::size_t kLast = kBlockSize - 1;
  const Separators separators = separators_;
  std::uint64_t first_of_values[kMostAhead];
  std::uint64_t is_open = opened_ != kNone ? 1 : 0;
  std::uint64_t begins_here = is_open == 0 && IsEnd(previous_) ? 1 : 0;
  std::size_t looked_at = 0;
  for (; looked_at < line_feeds.size(); ++looked_at) {
    const char* const at = bytes + looked_at * kBlockSize;
    const ByteBlocks block(at);
    const std::uint64_t feeds = line_feeds[looked_at];
    const std::uint64_t qualifiers = block.Equal(separators.qualifier);
    const std::uint64_t ends = block.Equal(separators.delimiter) | feeds;
    const std::uint64_t inside = ByteBlocks::Parity(qualifiers) ^ (std::uint64_t{0} - is_open);
    const std::uint64_t opening = qualifiers & inside;
    const std::uint64_t closing = qualifiers & ~inside;
    const std::uint64_t begins = (ends & ~inside) << 1 | begins_here;
    const std::uint64_t before_end = (ends | qualifiers) >> 1 | std::uint64_t{1} << kLast;
    if (((opening & ~(begins | closing << 1)) | (closing & ~before_end)) != 0) break;
    if (closing >> kLast != 0 && !IsEnd(at[kBlockSize])) break;

    line_feeds[looked_at] = feeds & ~inside;
    first_of_values[looked_at] = opening & begins;
    is_open = inside >> kLast;
    begins_here = (ends & ~inside) >> kLast;
  }
  if (looked_at == 0) return 0;
  previous_ = bytes[looked_at * kBlockSize - 1];
  if (is_open == 0) {
    opened_ = kNone;
    return looked_at;
  }
  // The last one that a value begins with opened the one that is open, or it is the one from before.
  for (std::size_t block = looked_at; block-- > 0;) {
    if (first_of_values[block] == 0) continue;
    opened_ = position + block * kBlockSize + kLast -
              static_cast<std::size_t>(std::countl_zero(first_of_values[block]));
    break;
  }
  return looked_at;
}

#if defined(__x86_64__)
KESTREL_FOR_AVX2 std::size_t EnclosedValues::LookAheadByAvx2(const char* bytes, std::size_t position,
                                                             std::span<std::uint64_t> line_feeds) {
  return LookAheadBy<Avx2Block>(bytes, position, line_feeds);
}
#endif

std::size_t EnclosedValues::LookAhead(const char* bytes, std::size_t position, std::size_t left,
                                      std::span<std::uint64_t> line_feeds) {
#if defined(__x86_64__)
  if (HasAvx2())
    return LookAheadByAvx2(bytes, position, line_feeds.first(Judgeable(position, left, line_feeds.size())));
#endif
  return LookAheadPlainly(bytes, position, left, line_feeds);
}

std::size_t EnclosedValues::LookAheadPlainly(const char* bytes, std::size_t position, std::size_t left,
                                             std::span<std::uint64_t> line_feeds) {
  return LookAheadBy<PlainBlock>(bytes, position,
                                 line_feeds.first(Judgeable(position, left, line_feeds.size())));
}

EnclosedValues::Found EnclosedValues::Look(const ByteBlock& block, const Block& place) {
  const std::uint64_t within = Below(place.left);
  const std::uint64_t qualifiers = block.Equal(separators_.qualifier) & within;
  const std::uint64_t ends = (block.Equal(separators_.delimiter) & within) | place.line_feeds;
  const std::uint64_t begins = ends << 1 | (!is_open() && IsEnd(previous_) ? 1 : 0);
  const std::uint64_t continuations =
      counting_ && place.utf8 && block.High() != 0 ? ContinuationBytes(place.bytes) : 0;
  const auto count_up_to = [&](std::size_t from, std::size_t to) {
    continuation_bytes_ += static_cast<std::size_t>(std::popcount(continuations & Below(to) & ~Below(from)));
  };
  std::uint64_t inner = 0;
  std::size_t bit = std::exchange(skip_, false) ? 1 : 0;
  previous_ = place.bytes[kBlockSize - 1];

  while (bit < kBlockSize) {
    if (!is_open()) {
      std::uint64_t opening = qualifiers & begins & ~Below(bit);
      if (refused_ - place.position < kBlockSize) opening &= ~Bit(refused_ - place.position);
      if (opening == 0) break;
      bit = static_cast<std::size_t>(std::countr_zero(opening)) + 1;
      opened_ = place.position + bit - 1;
    }
    const std::uint64_t left = qualifiers & ~Below(bit);
    const std::size_t closing = left == 0 ? kBlockSize : static_cast<std::size_t>(std::countr_zero(left));
    inner |= place.line_feeds & Below(closing) & ~Below(bit);
    count_up_to(bit, closing);
    const std::size_t end = place.position + closing;
    const char next = closing + 1 < place.left ? place.bytes[closing + 1] : '\n';
    const bool too_long = IsTooLong(end);
    if (left == 0 && !too_long) break;
    if (left != 0 && !too_long && next == separators_.qualifier) {
      bit = closing + 2;
      skip_ = bit > kBlockSize;
    } else if (left != 0 && !too_long && IsEnd(next)) {
      Close();
      bit = closing + 1;
    } else {
      // Only where more bytes than characters were counted, the value may be none too long after all.
      const bool again = too_long && place.utf8 && !counting_;
      const std::size_t back = again ? opened_ : Refuse();
      if (again) {
        Close();
        counting_ = true;
        previous_ = '\n';
      }
      if (again || back < place.position) {
        const std::uint64_t before = back < place.position ? 0 : Below(back - place.position);
        return {place.line_feeds & before & ~inner, back};
      }
      bit = back - place.position + 1;
      inner &= Below(bit);
      skip_ = false;
    }
  }
  return {place.line_feeds & ~inner, place.position + kBlockSize};
}

std::size_t EnclosedValues::Refuse() {
  refused_ = opened_;
  skip_ = false;
  Close();
  return refused_;
}

}  // namespace kestrel
