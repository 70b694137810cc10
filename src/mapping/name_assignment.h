// Assigns source columns to the fields that their names fit, as one step that can be taken back.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/export.h"
#include "kestrel/memory_recordset.h"
#include "kestrel/value.h"
#include "mapping/field_assignment.h"

namespace kestrel {

// What an assignment changes of a row.
inline constexpr std::array kAssignedColumns = {
    kDestinationName, kDspDestinationName, kOption, kTranslate, kInfo, kFormat};

// The rows that a step has assigned, and what they held before.
struct NameAssignment {
  struct Row {
    std::int64_t row;
    AssignmentPanel assigned;
    std::array<Value, kAssignedColumns.size()> before;
  };
  std::vector<Row> rows;
};

// Assigns by PairByName to the fields of the assignment list that have nothing assigned; translation switch and date
// format of such a field stay. `columns`: what the source offers. Both leave the list at its row. Raises nothing but 7.
KESTREL_INTERNAL NameAssignment AssignByName(MemoryRecordset& list, const std::vector<std::string>& columns);

// Takes the step back; a row that was changed since stays as it is. The rows taken back.
KESTREL_INTERNAL std::vector<std::int64_t> TakeBack(MemoryRecordset& list, const NameAssignment& step);

}  // namespace kestrel
