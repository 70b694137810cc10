#include "platform/data/indexed_recordset.h"

namespace kestrel {

std::string_view IndexedRecordset::ColumnName(std::size_t column) const {
  if (column >= names_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return names_[column];
}

void IndexedRecordset::MoveNext() {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  ++row_;
  if (IsEof() && broken_off_) throw *broken_off_;
}

std::int64_t IndexedRecordset::Bookmark() const {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return static_cast<std::int64_t>(row_);
}

void IndexedRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= static_cast<std::int64_t>(row_count_))
    throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  row_ = static_cast<std::size_t>(bookmark);
}

void IndexedRecordset::EndHere(const RuntimeError& reason) {
  row_count_ = row_;
  broken_off_ = reason;
  throw reason;
}

void IndexedRecordset::RaiseNoCell(std::size_t column) const {
  throw RuntimeError(column >= names_.size() ? ErrorNumber::kSubscriptOutOfRange
                                             : ErrorNumber::kNoCurrentRecord);
}

bool IndexedRecordset::IsNull(std::size_t column) const {
  RequireCell(column);
  return IsNullAt(row_, column);
}

std::string_view IndexedRecordset::TextAt(std::size_t column) const {
  RequireCell(column);
  return TextAt(row_, column);
}

}  // namespace kestrel
