// Which line feeds of a text might lie within enclosed values (enclosed_values.h), told at little more cost
// than finding them.
//
// A value that holds a line feed goes on behind it to its closing qualifier: the first one that is not half of
// a doubled one, and that stands before a delimiter, a line feed or the end of the text. So a line feed whose
// first single qualifier behind it stands elsewhere is in no value, and no other qualifier has to be looked at.
//
// Invariants
//  1. is_open_ tells of line feeds before the next stretch, the open ones, with no single qualifier behind yet;
//     record() is the number of records before the first of them.
//  2. Where no doubt has arisen, every other line feed is known to be in no value. It also arises where it costs less
//     to look closely than to tell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/base/byte_blocks.h"
#include "sources/enclosed_values.h"

namespace kestrel {

class LineFeedDoubt {
 public:
  explicit LineFeedDoubt(const Separators& separators) : separators_(separators) {}

  // A stretch of the text from `begin` on. At least kPadding bytes can be read behind it; `ends_text`: they are
  // not part of the text.
  struct Stretch {
    const char* bytes;
    std::size_t begin;
    std::size_t size;
    bool ends_text;
    bool has_qualifier;
  };
  // Whether a line feed of the stretch, or an open one, might lie within a value; the text is to be looked at
  // closely up to end() then, and to be asked about again from there on. `starts`: what follows the stretch's
  // line feeds, without those that another one follows; `record`: how many records begin before the first of
  // them.
  bool Arises(const Stretch& stretch, std::span<const std::uint64_t> starts, std::size_t record);
  // Of the first line feed in doubt, how many records begin before it ends one.
  std::size_t record() const { return record_; }
  std::size_t end() const { return end_; }

  static constexpr std::size_t kPadding = kBlockSize;

 private:
  // What stands behind a line feed, up to the end of the stretch.
  enum class Found { kNoSingleQualifier, kInnerQualifier, kPossibleEnd };
  // Looks from `at` on, and leaves it at the qualifier that was found, or close behind.
  Found Look(const Stretch& stretch, const char*& at) const;
  bool IsEnd(char c) const { return c == separators_.delimiter || c == '\n'; }
  void Open(std::size_t record) {
    is_open_ = true;
    record_ = record;
  }

  // Where one value holds a line feed, the next ones often do; going back for each would cost more. Where the
  // next one comes soon, doubt reaches further.
  static constexpr std::size_t kLeastReach = 8192;
  static constexpr std::size_t kMostReach = std::size_t{1} << 20;
  // So many looks at a stretch cost more than looking at it closely: its qualifiers stand far behind the line feeds.
  static constexpr std::size_t kMostLooks = 8;

  Separators separators_;
  bool is_open_ = false;
  std::size_t record_ = 0;
  std::size_t end_ = 0;
  std::size_t reach_ = kLeastReach;
};

}  // namespace kestrel
