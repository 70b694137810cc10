#include "formats/excel/shared_strings.h"

namespace kestrel::excel {

SharedStrings::SharedStrings(const ScatteredBytes& stream, RecordPosition position) {
  ContinuedReader reader(stream, position);
  // Whatever count the table tells, its texts end where its records do.
  try {
    reader.Skip(8);
    for (;; ++count_) {
      const RecordPosition place = reader.position();
      reader.SkipText();
      if (count_ % kStride == 0) every_eighth_.push_back(place);
    }
  } catch (const RuntimeError&) {
  }
}

void SharedStrings::AppendText(const ScatteredBytes& stream, std::uint64_t number, std::string& text) const {
  ContinuedReader reader(stream, every_eighth_[number / kStride]);
  for (std::uint64_t skipped = number % kStride; skipped > 0; --skipped) reader.SkipText();
  reader.TakeText(text);
}

}  // namespace kestrel::excel
