#pragma once

#include <memory>

#include "kestrel/connection.h"
#include "platform/data/providers/odbc/link.h"
#include "platform/data/providers/odbc/single_query.h"

namespace kestrel::odbc {

// A source that is only read. Record sets that are read at the same time, and their counts, have links of their
// own (see link.h), so a server may see more than one login.
class OdbcConnection final : public Connection {
 public:
  // Logs in once. Error 3000.
  explicit OdbcConnection(Target target);

  // 3000, as nothing is changed through ODBC.
  std::int64_t Execute(std::string_view sql) override;
  RecordsetPtr OpenRecordset(std::string_view sql) override;
  std::vector<CatalogTable> Tables() override;
  // `table` as a query names it, or as the catalog does.
  std::vector<std::string> ColumnNames(std::string_view table) override;
  void Close() override;
  bool IsOpen() const override { return pool_ != nullptr; }

 private:
  void RequireOpen() const;
  std::vector<std::string> CatalogColumnNames(std::string_view table);

  std::shared_ptr<LinkPool> pool_;
  SqlDialect dialect_ = SqlDialect::kStandard;
};

}  // namespace kestrel::odbc
