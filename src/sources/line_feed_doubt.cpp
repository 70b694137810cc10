#include "sources/line_feed_doubt.h"

#include <algorithm>

namespace kestrel {

namespace {

// The first `character` from `at` on, or `end`. Reads up to LineFeedDoubt::kPadding bytes behind it.
const char* Find(const char* at, const char* end, char character) {
  for (; at < end; at += kBlockSize) {
    const ByteBlock block(at);
    if (block.HasEither(character, character))
      return std::min(at + std::countr_zero(block.Equal(character)), end);
  }
  return end;
}

}  // namespace

LineFeedDoubt::Found LineFeedDoubt::Look(const Stretch& stretch, const char*& at) const {
  const char* end = stretch.bytes + stretch.size;
  for (;;) {
    at = Find(at, end, separators_.qualifier);
    if (at == end) return Found::kNoSingleQualifier;
    const char* behind = at + 1;
    while (behind < end && *behind == separators_.qualifier) ++behind;
    const bool text_ends = behind == end && stretch.ends_text;
    // How many stand in a row is unknown where they reach the end of the stretch.
    if (!text_ends && *behind == separators_.qualifier) return Found::kPossibleEnd;
    const bool is_single = (behind - at) % 2 != 0;
    at = behind;
    if (is_single) return text_ends || IsEnd(*behind) ? Found::kPossibleEnd : Found::kInnerQualifier;
  }
}

bool LineFeedDoubt::Arises(const Stretch& stretch, std::span<const std::uint64_t> starts, std::size_t record) {
  if (!stretch.has_qualifier) {
    if (!is_open_ && !starts.empty()) Open(record);
    return false;
  }
  const char* at = stretch.bytes;  // what stands before is decided
  constexpr std::size_t kNear = 32;
  const char* last = stretch.bytes + stretch.size - 1;
  std::size_t looks = 0;
  for (std::size_t next = 0;; is_open_ = false) {
    if (!is_open_) {
      const Separators separators = separators_;
      for (; next < starts.size(); ++next) {
        const char* start = stretch.bytes + (starts[next] - stretch.begin);
        if (start <= at) continue;
        // Nearly always there is one soon, and something else behind it.
        const std::uint64_t near = ByteBlockOf<kNear>(start).Equal(separators.qualifier);
        if (near == 0) break;
        const char* found = start + std::countr_zero(near);
        if (found >= last) break;
        const char behind = found[1];
        if (behind == separators.qualifier || behind == separators.delimiter || behind == '\n') break;
        at = found;
      }
      if (next == starts.size()) return false;
      Open(record + next);
      at = stretch.bytes + (starts[next] - stretch.begin);
    }
    const Found found = Look(stretch, at);
    if (found == Found::kNoSingleQualifier) return false;
    if (found == Found::kPossibleEnd || ++looks == kMostLooks) {
      is_open_ = false;
      const std::size_t place = stretch.begin + static_cast<std::size_t>(at - stretch.bytes);
      reach_ = place < end_ + reach_ ? std::min(2 * reach_, kMostReach) : kLeastReach;
      end_ = place + reach_;
      return true;
    }
  }
}

}  // namespace kestrel
