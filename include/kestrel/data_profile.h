// What the data of a source are like for an import, before it runs: the figures and what is wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/finding.h"

namespace kestrel {

// The values of the source column that feeds a field of the destination, as the run would take them.
struct FieldFigures {
  std::string field;                // of the destination
  std::string column;               // of the source
  std::int64_t filled = 0;          // all that are not empty
  std::int64_t empty = 0;           // nothing, or blanks only
  std::int64_t cut = 0;             // longer than the field
  std::int64_t not_numbers = 0;     // where the field is a number
  std::int64_t not_dates = 0;       // in the chosen format
  std::int64_t not_translated = 0;  // without an entry in the translation table
  std::int64_t not_permitted = 0;   // not among the values that the field may have
  std::int64_t unreadable = 0;      // that the source could not deliver
};

// The source as a whole.
struct SourceFigures {
  std::int64_t records = 0;  // as many as could be read
  std::size_t columns = 0;   // how many it has
  // Of a text file: its character set, and how many lines end in CR LF, in LF and in CR alone.
  std::string charset;
  std::int64_t crlf = 0;
  std::int64_t lf = 0;
  std::int64_t cr = 0;
  // Lines that have not as many values as there are columns.
  std::int64_t unusual_lines = 0;
  // Records whose address an earlier record of the source has, too; none where the import does not ask.
  std::optional<std::int64_t> repeated_addresses;
};

// What ImportJob::CheckData tells.
struct DataProfile {
  SourceFigures source;              // figures of the whole
  std::vector<FieldFigures> fields;  // in the order of the destination's fields
  Findings findings;                 // of specification, source and data
};

}  // namespace kestrel
