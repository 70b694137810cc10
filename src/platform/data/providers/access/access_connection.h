// A connection to an Access database that is only read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/access/database.h"
#include "platform/data/read_only_connection.h"

namespace kestrel::access {

class AccessConnection final : public ReadOnlyConnection {
 public:
  // Reads the file whole. Raises 3000 where it is missing, no Access database, damaged or locked by a
  // password other than this one.
  AccessConnection(const std::string& path, std::string_view password);
  // The same for a file in memory.
  explicit AccessConnection(Database database) : database_(std::move(database)) {}

  // Tables as "TABLE", saved queries that return rows as "VIEW", linked tables as "LINK" or "PASS-THROUGH".
  std::vector<CatalogTable> Tables() override;
  std::vector<std::string> ColumnNames(std::string_view table) override;
  std::vector<SourceRemark> Remarks(std::string_view table) override;
  // Lets go of the file's content as soon as no record set needs it.
  void Close() override;

 protected:
  RecordsetPtr OpenTable(const TableName& table) override;

 private:
  std::optional<Database> database_;  // none once it is closed
};

}  // namespace kestrel::access
