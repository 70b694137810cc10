#include "kestrel/recordset.h"

namespace kestrel {

std::optional<std::size_t> Recordset::FindColumn(std::string_view name) const {
  for (std::size_t column = 0; column < ColumnCount(); ++column) {
    if (ColumnName(column) == name) return column;
  }
  return std::nullopt;
}

std::size_t Recordset::RequireColumn(std::string_view name) const {
  if (const auto column = FindColumn(name)) return *column;
  throw RuntimeError(ErrorNumber::kColumnNotFound,
                     std::string(DescriptionOf(ErrorNumber::kColumnNotFound)) + ": " + std::string(name));
}

std::int64_t Recordset::Bookmark() const { return LacksMember().ToInteger(); }
void Recordset::GoTo(std::int64_t) { LacksMember(); }

Value Recordset::ValueAt(std::size_t column) const {
  if (IsNull(column)) return kNull;
  return Value(TextAt(column));
}

void Recordset::SetText(std::size_t, std::string_view) { LacksMember(); }
void Recordset::SetValue(std::size_t, const Value&) { LacksMember(); }

RecordsetPtr ToRecordset(const Value& value) {
  const ObjectPtr object = value.ToObject();
  if (object == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  auto recordset = std::dynamic_pointer_cast<Recordset>(object);
  if (recordset == nullptr) throw RuntimeError(ErrorNumber::kTypeMismatch);
  return recordset;
}

}  // namespace kestrel
