// The first part of a workbook stream, before its sheets: what it says about the whole.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "formats/excel/biff_records.h"
#include "formats/excel/workbook.h"

namespace kestrel::excel {

struct BiffGlobals {
  bool is_biff8 = true;
  bool days_from_1904 = false;
  int code_page = 1252;
  std::optional<RecordPosition> shared_strings;
  std::vector<NumberStyle> styles;  // by extended format
  // The sheets with cells.
  std::vector<std::string> sheet_names;
  std::vector<std::uint32_t> sheet_offsets;
  std::vector<NamedRange> named_ranges;
};

// The stream is plain. Error 3000 where it is damaged or of another version than BIFF5 and BIFF8.
BiffGlobals ReadGlobals(const ScatteredBytes& stream);

}  // namespace kestrel::excel
