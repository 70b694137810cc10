#include "sources/text_survey.h"

#include "platform/base/byte_blocks.h"

namespace kestrel {

void LineEndCounter::End(LineEndFigures& figures) {
  ++lines_;
  if (++figures.count <= static_cast<std::int64_t>(LineEndFigures::kPlaces)) figures.places.push_back(lines_);
}

void LineEndCounter::Scan(std::string_view bytes) {
  const auto look = [this](char character) {
    if (character == '\n') {
      End(behind_cr_ ? crlf_ : lf_);
    } else if (behind_cr_) {
      End(cr_);
    }
    behind_cr_ = character == '\r';
  };
  std::size_t position = 0;
  for (; position + kBlockSize <= bytes.size(); position += kBlockSize) {
    const ByteBlock block(bytes.data() + position);
    std::size_t looked_at = 0;
    // What stands between two of them matters only to a CR before it.
    ForEachBit(block.Equal('\r') | block.Equal('\n'), [&](std::size_t bit) {
      if (behind_cr_ && bit > looked_at) look('\0');
      look(bytes[position + bit]);
      looked_at = bit + 1;
    });
    if (behind_cr_ && looked_at < kBlockSize) look('\0');
  }
  for (; position < bytes.size(); ++position) look(bytes[position]);
}

void LineEndCounter::Finish() {
  if (behind_cr_) End(cr_);
  behind_cr_ = false;
}

}  // namespace kestrel
