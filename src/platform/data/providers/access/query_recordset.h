// The result of a saved query as a record set.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/access_sql/query.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::access {

class QueryRecordset final : public IndexedRecordset {
 public:
  // `names` are those of the query's columns, `file` is the one that its tables were read from.
  QueryRecordset(std::vector<std::string> names, std::unique_ptr<access_sql::QueryRows> rows,
                 std::optional<FileIdentity> file);

  std::optional<FileIdentity> SourceFile() const override { return file_; }

 private:
  bool IsNullAt(std::size_t row, std::size_t column) const override;
  std::string_view TextAt(std::size_t row, std::size_t column) const override;
  void Seek(std::size_t row) const;

  std::unique_ptr<access_sql::QueryRows> rows_;
  std::optional<FileIdentity> file_;
  mutable std::size_t at_ = static_cast<std::size_t>(-1);
};

}  // namespace kestrel::access
