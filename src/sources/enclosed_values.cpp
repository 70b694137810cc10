#include "sources/enclosed_values.h"

#include <utility>

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

EnclosedValues::Found EnclosedValues::LookAtEach(const ByteBlock& block, const Block& place) {
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
