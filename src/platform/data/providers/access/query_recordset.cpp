#include "platform/data/providers/access/query_recordset.h"

#include <utility>

namespace kestrel::access {

QueryRecordset::QueryRecordset(std::vector<std::string> names, std::unique_ptr<QueryDatabase> database)
    : IndexedRecordset(std::move(names), database->RowCount()), database_(std::move(database)) {
  if (const auto& loss = database_->Loss()) EndsEarly(*loss);
}

void QueryRecordset::Seek(std::size_t row) const {
  if (row == at_) return;
  database_->GoTo(row);
  at_ = row;
}

bool QueryRecordset::IsNullAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return database_->IsNull(column);
}

std::string_view QueryRecordset::TextAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return database_->Text(column);
}

}  // namespace kestrel::access
