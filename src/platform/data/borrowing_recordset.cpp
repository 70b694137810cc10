#include "platform/data/borrowing_recordset.h"

namespace kestrel {

std::string_view BorrowingRecordset::ColumnName(std::size_t column) const {
  if (column >= names_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return names_[column];
}

void BorrowingRecordset::MoveNext() {
  if (is_at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  is_at_end_ = true;
}

void BorrowingRecordset::SetText(std::size_t column, std::string_view text) {
  Current(column);
  cells_[column] = {{own_[column].assign(text)}, row_};
}

void BorrowingRecordset::SetValue(std::size_t column, const Value& value) {
  Current(column);
  if (value.IsUnset() || value.IsNull()) {
    cells_[column].row = 0;
  } else {
    SetText(column, value.ToText());
  }
}

void BorrowingRecordset::RaiseNoCell(std::size_t column) const {
  throw RuntimeError(column >= cells_.size() ? ErrorNumber::kSubscriptOutOfRange
                                             : ErrorNumber::kNoCurrentRecord);
}

}  // namespace kestrel
