// Record sets, read and written.
#include "abi/library.h"
#include "abi/values.h"
#include "kestrel/memory_recordset.h"

namespace kestrel::abi {

namespace {

RecordsetPtr RequireSet(const Library& library, kestrel_handle handle) {
  return library.RequireKind<Recordset>(handle, "Datensatzgruppe");
}

// One that was made here.
std::shared_ptr<MemoryRecordset> RequireOwnSet(const Library& library, kestrel_handle handle) {
  auto set = std::dynamic_pointer_cast<MemoryRecordset>(RequireSet(library, handle));
  if (set == nullptr) throw RuntimeError(ErrorNumber::kMemberNotFound);
  return set;
}

ColumnType TypeOf(std::int32_t kind) {
  switch (kind) {
    case KESTREL_STRING: return ColumnType::kText;
    case KESTREL_INTEGER: return ColumnType::kInt64;
    case KESTREL_DOUBLE: return ColumnType::kDouble;
    case KESTREL_BOOLEAN: return ColumnType::kBool;
    default: RaiseArgument("Spalten der Art " + std::to_string(kind) + " gibt es nicht.");
  }
}

void RequireColumn(const Recordset& set, std::size_t column) {
  if (column >= set.ColumnCount()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
}

std::shared_ptr<MemoryRecordset> MakeSet(const kestrel_column* columns, std::size_t count) {
  auto set = std::make_shared<MemoryRecordset>();
  if (count == 0) return set;
  RequireCount(columns, count, "columns");
  const std::size_t step = RequireSize(columns, "columns");
  const char* row = reinterpret_cast<const char*>(columns);
  for (std::size_t i = 0; i < count; ++i, row += step) {
    const kestrel_column column = Read(reinterpret_cast<const kestrel_column*>(row), "columns");
    if (column.size != step) throw Misuse(KESTREL_WRONG_SIZE, "Die Zeilen von 'columns' sind ungleich lang.");
    set->AppendColumn(ToString(column.name, "name"), TypeOf(column.kind), column.length);
  }
  return set;
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;
using kestrel::RecordsetPtr;

int32_t kestrel_recordset_create(kestrel_library* library, const kestrel_column* columns, size_t column_count,
                                 kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    target = open.handles.Add(MakeSet(columns, column_count));
  });
}

int32_t kestrel_recordset_add(kestrel_library* library, kestrel_handle recordset) {
  return Guarded(library, [&](Library& open) { RequireOwnSet(open, recordset)->AddNew(); });
}

int32_t kestrel_recordset_clear(kestrel_library* library, kestrel_handle recordset) {
  return Guarded(library, [&](Library& open) { RequireOwnSet(open, recordset)->ClearRow(); });
}

int32_t kestrel_recordset_column_count(kestrel_library* library, kestrel_handle recordset, size_t* count) {
  return Guarded(library,
                 [&](Library& open) { Require(count, "count") = RequireSet(open, recordset)->ColumnCount(); });
}

int32_t kestrel_recordset_column_name(kestrel_library* library, kestrel_handle recordset, size_t column,
                                      kestrel_text* name) {
  return Guarded(library, [&](Library& open) {
    kestrel_text& target = Require(name, "name");
    const RecordsetPtr set = RequireSet(open, recordset);
    RequireColumn(*set, column);
    target = open.HandOutText(std::string(set->ColumnName(column)));
  });
}

int32_t kestrel_recordset_find(kestrel_library* library, kestrel_handle recordset, kestrel_text name,
                               size_t* column) {
  return Guarded(library, [&](Library& open) {
    Require(column, "column") = RequireSet(open, recordset)->RequireColumn(ToView(name, "name"));
  });
}

int32_t kestrel_recordset_count(kestrel_library* library, kestrel_handle recordset, int64_t* count) {
  return Guarded(library,
                 [&](Library& open) { Require(count, "count") = RequireSet(open, recordset)->RecordCount(); });
}

int32_t kestrel_recordset_at_end(kestrel_library* library, kestrel_handle recordset, int32_t* at_end) {
  return Guarded(library, [&](Library& open) {
    Require(at_end, "at_end") = RequireSet(open, recordset)->IsEof() ? 1 : 0;
  });
}

int32_t kestrel_recordset_first(kestrel_library* library, kestrel_handle recordset) {
  return Guarded(library, [&](Library& open) { RequireSet(open, recordset)->MoveFirst(); });
}

int32_t kestrel_recordset_next(kestrel_library* library, kestrel_handle recordset) {
  return Guarded(library, [&](Library& open) { RequireSet(open, recordset)->MoveNext(); });
}

int32_t kestrel_recordset_get(kestrel_library* library, kestrel_handle recordset, size_t column,
                              kestrel_value* value) {
  return Guarded(library, [&](Library& open) {
    RequireTarget(value, "value");
    const RecordsetPtr set = RequireSet(open, recordset);
    RequireColumn(*set, column);
    HandOutValue(open, set->ValueAt(column), value, "value");
  });
}

int32_t kestrel_recordset_set(kestrel_library* library, kestrel_handle recordset, size_t column,
                              const kestrel_value* value) {
  return Guarded(library, [&](Library& open) {
    const RecordsetPtr set = RequireSet(open, recordset);
    RequireColumn(*set, column);
    set->SetValue(column, ToValue(open, value, "value"));
  });
}

int32_t kestrel_recordset_row(kestrel_library* library, kestrel_handle recordset, kestrel_text* texts,
                              size_t capacity) {
  return Guarded(library, [&](Library& open) {
    const RecordsetPtr set = RequireSet(open, recordset);
    if (set->IsEof()) throw kestrel::RuntimeError(kestrel::ErrorNumber::kNoCurrentRecord);
    const std::size_t count = std::min(capacity, set->ColumnCount());
    if (count == 0) return;
    Require(texts, "texts");
    for (std::size_t column = 0; column < count; ++column) {
      texts[column] = set->IsNull(column) ? kestrel_text{} : ToText(set->TextAt(column));
      // Empty is not null.
      if (texts[column].data == nullptr && !set->IsNull(column)) texts[column].data = "";
    }
  });
}
