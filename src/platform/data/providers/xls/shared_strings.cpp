#include "platform/data/providers/xls/shared_strings.h"

namespace kestrel::xls {

SharedStrings::SharedStrings(const ScatteredBytes& stream, RecordPosition position) {
  ContinuedReader reader(stream, position);
  reader.TakeU32();  // how often the texts are used
  const std::uint32_t count = reader.TakeU32();
  for (; count_ < count; ++count_) {
    if (count_ % kStride == 0) every_eighth_.push_back(reader.position());
    reader.SkipText();
  }
}

void SharedStrings::AppendText(const ScatteredBytes& stream, std::uint64_t number, std::string& text) const {
  if (number >= count_) RaiseDamaged("eine Zelle verweist auf einen Text, den es nicht gibt");
  ContinuedReader reader(stream, every_eighth_[number / kStride]);
  for (std::uint64_t skipped = number % kStride; skipped > 0; --skipped) reader.SkipText();
  reader.TakeText(text);
}

}  // namespace kestrel::xls
