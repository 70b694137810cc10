// The table in which a workbook keeps each text once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/data/providers/xls/biff_records.h"

namespace kestrel::xls {

// Texts are read where they lie. To find one, the place of every eighth is kept, which takes a byte a text.
class SharedStrings {
 public:
  // A workbook without the table.
  SharedStrings() = default;
  // Walks the table whose record is at `position`. Error 3000 where it is damaged.
  SharedStrings(const ScatteredBytes& stream, RecordPosition position);

  // Appends the text; error 3000 for a number the table does not have.
  void AppendText(const ScatteredBytes& stream, std::uint64_t number, std::string& text) const;

 private:
  static constexpr std::size_t kStride = 8;
  std::vector<RecordPosition> every_eighth_;
  std::uint64_t count_ = 0;
};

}  // namespace kestrel::xls
