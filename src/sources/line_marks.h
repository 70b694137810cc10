// Where lines end in a stretch of text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/base/byte_blocks.h"

namespace kestrel {

struct LineMarks {
  // So much that what is told of the whole stretch costs little, and is still in the nearest cache.
  static constexpr std::size_t kBlocks = 64;

  std::array<std::uint64_t, kBlocks> line_ends;  // a mask for each block
  // Whether the stretch holds such bytes anywhere.
  bool has_return;
  bool has_qualifier;
  bool has_high;
};

// Looks at `blocks` blocks, at most LineMarks::kBlocks; masks behind theirs stay as they are.
void MarkLines(const char* bytes, std::size_t blocks, char line_end, char qualifier, LineMarks& marks);
// The same with nothing but what every processor has.
void MarkLinesPlainly(const char* bytes, std::size_t blocks, char line_end, char qualifier, LineMarks& marks);

}  // namespace kestrel
