#include "mapping/name_assignment.h"

#include <algorithm>

#include "kestrel/runtime_error.h"
#include "mapping/field_names.h"
#include "mapping/row_keeper.h"

namespace kestrel {

namespace {

// What the current row has assigned: nothing where the name is missing.
AssignmentOption OptionOf(const MemoryRecordset& list) {
  const std::int64_t option = list.IsNull(kOption) ? 0 : list.ValueAt(kOption).ToInteger();
  if (option == kConstantValue) return kConstantValue;
  return option == kImportField && !list.TextAt(kDestinationName).empty() ? kImportField : kNotAssigned;
}

// The field's earlier settings come with its column.
AssignmentPanel PanelFor(const MemoryRecordset& list, const std::string& column) {
  return {.option = kImportField,
          .import_field = column,
          .translate = !list.IsNull(kTranslate) && list.ValueAt(kTranslate).ToBool(),
          .date_format = std::string(list.TextAt(kFormat))};
}

}  // namespace

NameAssignment AssignByName(MemoryRecordset& list, const std::vector<std::string>& columns) {
  const RowKeeper keeper(list);
  std::vector<std::int64_t> open_rows;
  std::vector<std::string> open_fields;
  std::vector<std::string> assigned_fields;
  std::vector<bool> used(columns.size());
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    const AssignmentOption option = OptionOf(list);
    if (option == kNotAssigned) {
      open_rows.push_back(list.Bookmark());
      open_fields.emplace_back(list.TextAt(kSourceName));
      continue;
    }
    assigned_fields.emplace_back(list.TextAt(kSourceName));
    if (option == kImportField) {
      const auto column = std::find(columns.begin(), columns.end(), list.TextAt(kDestinationName));
      if (column != columns.end()) used[static_cast<std::size_t>(column - columns.begin())] = true;
    }
  }
  NameAssignment step;
  for (const NamePair& pair : PairByName(open_fields, columns, used, assigned_fields)) {
    list.GoTo(open_rows[pair.field]);
    NameAssignment::Row row{open_rows[pair.field], PanelFor(list, columns[pair.column]), {}};
    for (std::size_t i = 0; i < kAssignedColumns.size(); ++i) row.before[i] = list.ValueAt(kAssignedColumns[i]);
    // A name that is too long for the list cannot be assigned by hand either.
    if (Trap([&] { StoreCurrentAssignment(list, row.assigned); }, [](const RuntimeError&) {})) {
      step.rows.push_back(std::move(row));
    }
  }
  return step;
}

std::vector<std::int64_t> TakeBack(MemoryRecordset& list, const NameAssignment& step) {
  const RowKeeper keeper(list);
  std::vector<std::int64_t> rows;
  for (const NameAssignment::Row& row : step.rows) {
    if (ReadAssignment(list, row.row) != row.assigned) continue;
    list.GoTo(row.row);
    for (std::size_t i = 0; i < kAssignedColumns.size(); ++i) list.SetValue(kAssignedColumns[i], row.before[i]);
    rows.push_back(row.row);
  }
  return rows;
}

}  // namespace kestrel
