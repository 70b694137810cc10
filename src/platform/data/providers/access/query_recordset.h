// The result of a saved query as a record set.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/access_sql/query_database.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::access {

class QueryRecordset final : public IndexedRecordset {
 public:
  // The columns are those of the plan that `database` ran.
  QueryRecordset(std::vector<std::string> names, std::unique_ptr<QueryDatabase> database);

  std::optional<FileIdentity> SourceFile() const override { return database_->SourceFile(); }

 private:
  bool IsNullAt(std::size_t row, std::size_t column) const override;
  std::string_view TextAt(std::size_t row, std::size_t column) const override;
  void Seek(std::size_t row) const;

  std::unique_ptr<QueryDatabase> database_;
  mutable std::size_t at_ = static_cast<std::size_t>(-1);
};

}  // namespace kestrel::access
