// Which line feeds of a text lie within enclosed values, for files that end their lines at LF.
//
// A value is enclosed when its first character is the qualifier. It reaches to the first later qualifier that
// stands directly before a delimiter, a line feed or the end of the text; doubled qualifiers are skipped in
// pairs. Where a single qualifier stands elsewhere before that, or no end comes within kLongest characters, the
// value is not enclosed, so that a stray qualifier cannot swallow the file.
//
// Invariants
//  1. Between two blocks, opened_ is the qualifier before the value that the next block goes on with, if any.
//  2. previous_ is the byte before the next block; where no value is open, a delimiter or line feed there is
//     followed by a value's first character.
//  3. refused_ is the last qualifier that turned out to enclose nothing.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/base/byte_blocks.h"

namespace kestrel {

// The separators of a file. No value is enclosed where they are not one ASCII character each that differ.
struct Separators {
  char delimiter = 0;
  char qualifier = 0;
  bool enclose = false;
};

class EnclosedValues {
 public:
  explicit EnclosedValues(const Separators& separators) : separators_(separators) {}

  // A block to be looked at: `left` bytes of text from `bytes` on, of which at least one more than the block's
  // can be read; `line_feeds` are the block's. `utf8`: the text's characters may take several bytes.
  struct Block {
    const char* bytes;
    std::size_t position;
    std::size_t left;
    std::uint64_t line_feeds;
    bool utf8;
  };
  // Where to go on, and which of the line feeds before that end lines.
  struct Found {
    std::uint64_t line_ends;
    std::size_t next;
  };
  Found Look(const ByteBlock& block, const Block& place) {
    std::uint64_t inner = 0;
    if (!LookAtWellFormed(block, place, inner)) [[unlikely]]
      return LookAtEach(block, place);
    previous_ = place.bytes[kBlockSize - 1];
    return {place.line_feeds & ~inner, place.position + kBlockSize};
  }
  // The next block begins a line, and so its first value; no value is open.
  void BeginLine() { previous_ = '\n'; }

  bool is_open() const { return opened_ != kNone; }
  // The text has ended within a value, which therefore is not enclosed: where to go on.
  std::size_t Refuse();

  static constexpr std::size_t kLongest = 65536;

 private:
  static constexpr std::size_t kNone = SIZE_MAX;

  void Close() {
    opened_ = kNone;
    counting_ = false;
    continuation_bytes_ = 0;
  }
  bool IsEnd(char c) const { return c == separators_.delimiter || c == '\n'; }
  bool IsTooLong(std::size_t end) const { return end - opened_ - continuation_bytes_ > kLongest; }
  // The block's line feeds within values, found by masks; false where that takes more than masks.
  bool LookAtWellFormed(const ByteBlock& block, const Block& place, std::uint64_t& inner);
  Found LookAtEach(const ByteBlock& block, const Block& place);

  Separators separators_;
  std::size_t opened_ = kNone;
  std::size_t refused_ = kNone;
  char previous_ = '\n';
  bool skip_ = false;  // the next block's first byte is the second of a pair of qualifiers
  // Of a value that has more than kLongest bytes and is looked at again, what does not count.
  bool counting_ = false;
  std::size_t continuation_bytes_ = 0;
};

// Where every qualifier stands at an end of a value or in a pair, those that open and those that close take
// turns, so that what lies between them is the parity of their number.
inline bool EnclosedValues::LookAtWellFormed(const ByteBlock& block, const Block& place, std::uint64_t& inner) {
  const bool was_open = is_open();
  if (skip_ || counting_ || place.left <= kBlockSize || refused_ - place.position < kBlockSize) return false;
  if (was_open && IsTooLong(place.position + kBlockSize)) return false;
  const std::uint64_t qualifiers = block.Equal(separators_.qualifier);
  const std::uint64_t ends = block.Equal(separators_.delimiter) | place.line_feeds;
  constexpr std::uint64_t kLast = std::uint64_t{1} << (kBlockSize - 1);

  const std::uint64_t inside = PrefixParity(qualifiers) ^ (std::uint64_t{0} - std::uint64_t{was_open});
  const std::uint64_t opening = qualifiers & inside;
  const std::uint64_t closing = qualifiers & ~inside;
  const std::uint64_t begins = (ends & ~inside) << 1 | std::uint64_t{!was_open && IsEnd(previous_)};
  const std::uint64_t before_end = (ends | qualifiers) >> 1 | (IsEnd(place.bytes[kBlockSize]) ? kLast : 0);
  if (((opening & ~(begins | closing << 1)) | (closing & ~before_end)) != 0) return false;

  inner = place.line_feeds & inside;
  // Without branches, as nobody can foretell where the values of a block end.
  const std::uint64_t first = opening & begins;
  const std::size_t last_opened =
      place.position + kBlockSize - 1 - static_cast<std::size_t>(std::countl_zero(first));
  const std::size_t open = first != 0 ? last_opened : opened_;
  opened_ = (inside & kLast) != 0 ? open : kNone;
  return true;
}

}  // namespace kestrel
