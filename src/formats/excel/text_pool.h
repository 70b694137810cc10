// The texts of a workbook that tells them in XML: in files that are packed, so that they may be more than
// memory should hold.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "platform/base/spilled_bytes.h"

namespace kestrel::excel {

class TextPool {
 public:
  // Where the text added lies. Raises as SpilledBytes does.
  std::uint64_t Add(std::string_view text);
  // The same for one of the texts that are numbered, from 0 on. Error 3000 for more of them than a workbook can
  // need.
  void AddNumbered(std::string_view text);
  std::uint64_t numbered() const { return numbered_; }
  // Where the numbered text lies; `number` is below numbered().
  std::uint64_t PlaceOf(std::uint64_t number) const;

  // Appends the text at the place.
  void AppendText(std::uint64_t place, std::string& text) const;

 private:
  static constexpr std::uint64_t kStride = 8;
  // The length of the text at the place, which is moved to its first byte.
  std::size_t TakeLength(std::uint64_t& place) const;

  SpilledBytes bytes_;                      // each text behind its length
  std::deque<std::uint64_t> every_eighth_;  // of the numbered ones, which follow each other
  std::uint64_t numbered_ = 0;
  std::string entry_;
};

}  // namespace kestrel::excel
