#include "kestrel/import_class.h"

namespace kestrel {

std::shared_ptr<MemoryRecordset> FieldListOf(std::span<const FieldListRow> fields) {
  auto list = std::make_shared<MemoryRecordset>();
  list->AppendColumn("FieldName");
  list->AppendColumn("Obligation", ColumnType::kBool);
  list->AppendColumn("RowSourceTyp", ColumnType::kInt16);
  list->AppendColumn("RowSource");
  list->AppendColumn("Size", ColumnType::kInt16);
  list->AppendColumn("FieldTyp");
  list->AppendColumn("DateField", ColumnType::kBool);
  for (const FieldListRow& field : fields) {
    list->AddNew();
    list->SetText(0, field.name);
    list->SetValue(1, field.obligation);
    list->SetValue(2, field.row_source_typ);
    list->SetText(3, field.row_source);
    list->SetValue(4, field.size);
    list->SetText(5, field.type);
    list->SetValue(6, field.date);
  }
  if (!fields.empty()) list->MoveFirst();
  return list;
}

}  // namespace kestrel
