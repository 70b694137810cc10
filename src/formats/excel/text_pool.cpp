#include "formats/excel/text_pool.h"

#include "formats/excel/packed_number.h"
#include "platform/base/byte_span.h"

namespace kestrel::excel {

std::uint64_t TextPool::Add(std::string_view text) {
  const std::uint64_t place = bytes_.size();
  entry_.clear();
  AppendPackedNumber(entry_, text.size());
  entry_ += text;
  bytes_.Append(entry_);
  return place;
}

void TextPool::AddNumbered(std::string_view text) {
  constexpr std::uint64_t kMostNumbered = std::uint64_t{1} << 25;
  if (numbered_ == kMostNumbered) RaiseDamaged("die Arbeitsmappe hat zu viele Texte");
  const std::uint64_t place = Add(text);
  if (numbered_++ % kStride == 0) every_eighth_.push_back(place);
}

std::size_t TextPool::TakeLength(std::uint64_t& place) const {
  const std::string_view head = bytes_.View(place, kLongestPackedNumber);
  std::string_view rest = head;
  const std::uint64_t length = TakePackedNumber(rest);
  place += head.size() - rest.size();
  return static_cast<std::size_t>(length);
}

std::uint64_t TextPool::PlaceOf(std::uint64_t number) const {
  std::uint64_t place = every_eighth_[static_cast<std::size_t>(number / kStride)];
  for (std::uint64_t skipped = number % kStride; skipped > 0; --skipped) {
    const std::size_t length = TakeLength(place);
    place += length;
  }
  return place;
}

void TextPool::AppendText(std::uint64_t place, std::string& text) const {
  const std::size_t length = TakeLength(place);
  text += bytes_.View(place, length);
}

}  // namespace kestrel::excel
