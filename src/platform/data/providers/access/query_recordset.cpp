#include "platform/data/providers/access/query_recordset.h"

#include <utility>

namespace kestrel::access {

QueryRecordset::QueryRecordset(std::vector<std::string> names, std::unique_ptr<access_sql::QueryRows> rows,
                               std::optional<FileIdentity> file)
    : IndexedRecordset(std::move(names), rows->RowCount()), rows_(std::move(rows)), file_(file) {
  if (const auto& loss = rows_->Loss()) EndsEarly(*loss);
}

void QueryRecordset::Seek(std::size_t row) const {
  if (row == at_) return;
  rows_->GoTo(row);
  at_ = row;
}

bool QueryRecordset::IsNullAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return rows_->IsNull(column);
}

std::string_view QueryRecordset::TextAt(std::size_t row, std::size_t column) const {
  Seek(row);
  return rows_->Text(column);
}

}  // namespace kestrel::access
