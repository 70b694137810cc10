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

#include <cstddef>
#include <cstdint>
#include <span>

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
  Found Look(const ByteBlock& block, const Block& place);
  // Looks at blocks as long as masks suffice, which is nearly always and much faster: takes the line feeds that end no
  // line out of `line_feeds`, a mask for each block, and returns how many it has looked at. Behind them Look goes on.
  // `left`: as many bytes of text begin with the first block, of which at least one more than the blocks' can be read.
  std::size_t LookAhead(const char* bytes, std::size_t position, std::size_t left,
                        std::span<std::uint64_t> line_feeds);
  // The same with nothing but what every processor has.
  std::size_t LookAheadPlainly(const char* bytes, std::size_t position, std::size_t left,
                               std::span<std::uint64_t> line_feeds);
  // The next block begins a line, and so its first value; no value is open.
  void BeginLine() { previous_ = '\n'; }

  bool is_open() const { return opened_ != kNone; }
  // The text has ended within a value, which therefore is not enclosed: where to go on.
  std::size_t Refuse();

  static constexpr std::size_t kLongest = 65536;
  // So many blocks LookAhead looks at, at most.
  static constexpr std::size_t kMostAhead = 64;

 private:
  static constexpr std::size_t kNone = SIZE_MAX;

  void Close() {
    opened_ = kNone;
    counting_ = false;
    continuation_bytes_ = 0;
  }
  bool IsEnd(char c) const { return c == separators_.delimiter || c == '\n'; }
  bool IsTooLong(std::size_t end) const { return end - opened_ - continuation_bytes_ > kLongest; }
  // How many of the blocks may be looked at by masks alone, as far as that can be told beforehand.
  std::size_t Judgeable(std::size_t position, std::size_t left, std::size_t blocks) const;
  // `ByteBlocks` as in avx2_block.h.
  template <class ByteBlocks>
  std::size_t LookAheadBy(const char* bytes, std::size_t position, std::span<std::uint64_t> line_feeds);
  std::size_t LookAheadByAvx2(const char* bytes, std::size_t position, std::span<std::uint64_t> line_feeds);

  Separators separators_;
  std::size_t opened_ = kNone;
  std::size_t refused_ = kNone;
  char previous_ = '\n';
  bool skip_ = false;  // the next block's first byte is the second of a pair of qualifiers
  // Of a value that has more than kLongest bytes and is looked at again, what does not count.
  bool counting_ = false;
  std::size_t continuation_bytes_ = 0;
};

}  // namespace kestrel
