// Which line feeds of a text might lie within enclosed values (enclosed_values.h), told at little more cost
// than finding them.
//
// A value that holds a line feed goes on behind it to its closing qualifier: the first one that is not half of
// a doubled one, and that stands before a delimiter, a line feed or the end of the text. So a line feed whose
// first single qualifier behind it stands elsewhere is in no value, and no other qualifier has to be looked at.
//
// Invariants
//  1. is_open_ tells of line feeds before the next block, the open ones, with no single qualifier behind yet.
//  2. Where no doubt has arisen, every other line feed is known to be in no value.
#pragma once

#include "platform/base/byte_blocks.h"
#include "sources/enclosed_values.h"

namespace kestrel {

class LineFeedDoubt {
 public:
  explicit LineFeedDoubt(const Separators& separators) : separators_(separators) {}

  // Whether a line feed of the block, or an open one, might lie within a value; the text is to be looked at
  // closely up to end() then, and to be asked about again from there on. Calls `open` where a line feed of the
  // block becomes open and none before it is: no line feed before the block is in doubt.
  template <class Open>
  bool Arises(const ByteBlock& block, const EnclosedValues::Block& place, Open&& open) {
    if (place.line_feeds == 0 && !is_open_) return false;
    const std::uint64_t qualifiers =
        block.Equal(separators_.qualifier) &
        (place.left < kBlockSize ? (std::uint64_t{1} << place.left) - 1 : ~std::uint64_t{0});
    if (qualifiers == 0) {
      if (!is_open_) open();
      is_open_ = true;
      return false;
    }
    bool reaches_end = false;
    std::uint64_t behind = BehindOddRuns(qualifiers, reaches_end);
    for (std::uint64_t line_feeds = place.line_feeds;;) {
      if (!is_open_) {
        if (line_feeds == 0) return false;
        open();
        is_open_ = true;
        behind &= BitsAboveLowest(line_feeds);
      }
      if (behind == 0) return ArisesAtEnd(qualifiers, place, reaches_end);
      const auto at = static_cast<std::size_t>(std::countr_zero(behind));
      if (IsEnd(place, at)) [[unlikely]]
        return Arise(place.position + at);
      is_open_ = false;
      line_feeds &= BitsAboveLowest(behind);
    }
  }
  std::size_t end() const { return end_; }

 private:
  bool IsEnd(const EnclosedValues::Block& place, std::size_t at) const {
    return at >= place.left || place.bytes[at] == separators_.delimiter || place.bytes[at] == '\n';
  }
  // The same where only a qualifier at the block's last byte could tell more; how many stand there is unknown.
  bool ArisesAtEnd(std::uint64_t qualifiers, const EnclosedValues::Block& place, bool reaches_end) {
    if (qualifiers >> (kBlockSize - 1) == 0) return false;
    const bool goes_on = place.left > kBlockSize && place.bytes[kBlockSize] == separators_.qualifier;
    if (goes_on || (reaches_end && IsEnd(place, kBlockSize))) return Arise(place.position + kBlockSize);
    is_open_ = !reaches_end;
    return false;
  }
  bool Arise(std::size_t end) {
    is_open_ = false;
    end_ = end + kNear;
    return true;
  }

  // Where one value holds a line feed, the next ones often do; going back for each would cost more.
  static constexpr std::size_t kNear = 2048;

  Separators separators_;
  bool is_open_ = false;
  std::size_t end_ = 0;
};

}  // namespace kestrel
