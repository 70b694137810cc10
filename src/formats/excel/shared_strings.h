// The table in which a workbook keeps each text once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats/excel/biff_records.h"

namespace kestrel::excel {

// Texts are read where they lie. To find one, the place of every eighth is kept, which takes a byte a text.
class SharedStrings {
 public:
  // A workbook without the table.
  SharedStrings() = default;
  // Walks the table whose record is at `position`. One that is cut or tells a wrong count has the texts that
  // are there.
  SharedStrings(const ScatteredBytes& stream, RecordPosition position);

  std::uint64_t size() const { return count_; }
  // Appends the text; `number` is below size(). Error 3000 where the text is damaged.
  void AppendText(const ScatteredBytes& stream, std::uint64_t number, std::string& text) const;

 private:
  static constexpr std::size_t kStride = 8;
  std::vector<RecordPosition> every_eighth_;
  std::uint64_t count_ = 0;
};

}  // namespace kestrel::excel
