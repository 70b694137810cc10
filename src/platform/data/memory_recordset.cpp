#include "kestrel/memory_recordset.h"

#include <utility>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

RuntimeError ColumnError(ErrorNumber number, const MemoryRecordset::Column& column) {
  return RuntimeError(number, std::string(DescriptionOf(number)) + ": " + column.name);
}

}  // namespace

void MemoryRecordset::AppendColumn(std::string name, ColumnType type, std::size_t size) {
  if (row_count_ != 0) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  columns_.push_back(Column{std::move(name), type, size});
}

const MemoryRecordset::Column& MemoryRecordset::ColumnAt(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return columns_[column];
}

std::string_view MemoryRecordset::ColumnName(std::size_t column) const { return ColumnAt(column).name; }

void MemoryRecordset::AddNew() {
  cells_.resize(cells_.size() + columns_.size());
  row_ = row_count_++;
}

void MemoryRecordset::ClearRow() {
  if (columns_.empty()) return;
  Cell* const first = &Current(0);
  for (Cell* cell = first; cell != first + columns_.size(); ++cell) {
    cell->text.clear();
    cell->null = true;
  }
}

bool MemoryRecordset::IsBof() const { return row_count_ == 0; }
bool MemoryRecordset::IsEof() const { return row_ == row_count_; }

void MemoryRecordset::MoveFirst() { row_ = 0; }

void MemoryRecordset::MoveNext() {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  ++row_;
}

std::int64_t MemoryRecordset::Bookmark() const {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return static_cast<std::int64_t>(row_);
}

void MemoryRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  row_ = static_cast<std::size_t>(bookmark);
}

void MemoryRecordset::RaiseNoCell(std::size_t column) const {
  throw RuntimeError(column >= columns_.size() ? ErrorNumber::kSubscriptOutOfRange
                                               : ErrorNumber::kNoCurrentRecord);
}

Value MemoryRecordset::ValueAt(std::size_t column) const {
  const Cell& cell = Current(column);
  if (cell.null) return kNull;
  switch (columns_[column].type) {
    case ColumnType::kText: return Value(cell.text);
    case ColumnType::kInt16:
    case ColumnType::kInt64: return Value(Value(cell.text).ToInteger());
    case ColumnType::kDouble: return Value(Value(cell.text).ToDouble());
    case ColumnType::kBool: return Value(cell.text == "Wahr");
  }
  return kNull;
}

void MemoryRecordset::SetText(std::size_t column, std::string_view text) {
  Cell& cell = Current(column);
  const Column& shape = columns_[column];
  if (shape.type != ColumnType::kText) {
    SetValue(column, Value(text));
    return;
  }
  // Bytes are an upper bound for characters, so most texts need no counting.
  if (shape.size != 0 && text.size() > shape.size && LengthInCharacters(text) > shape.size) {
    throw ColumnError(ErrorNumber::kColumnType, shape);
  }
  cell.text.assign(text);
  cell.null = false;
}

void MemoryRecordset::SetValue(std::size_t column, const Value& value) {
  Cell& cell = Current(column);
  if (value.IsUnset() || value.IsNull()) {
    cell.text.clear();
    cell.null = true;
    return;
  }
  switch (columns_[column].type) {
    case ColumnType::kText: SetText(column, value.IsText() ? value.TextOrEmpty() : value.ToText()); return;
    case ColumnType::kInt16: cell.text = std::to_string(value.ToInt16()); break;
    case ColumnType::kInt64: cell.text = std::to_string(value.ToInteger()); break;
    case ColumnType::kDouble: cell.text = FormatNumber(value.ToDouble()); break;
    case ColumnType::kBool: cell.text = value.ToBool() ? "Wahr" : "Falsch"; break;
  }
  cell.null = false;
}

}  // namespace kestrel
