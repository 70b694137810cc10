// The tables and saved queries of an Access file, as queries read them.
#pragma once

#include "formats/access/catalog.h"
#include "formats/access/stored_query.h"
#include "formats/access_sql/query_tables.h"

namespace kestrel::access {

class StoredTables final : public access_sql::QueryTables {
 public:
  // The catalog is the file's, and must outlive this. Raises 3000 where the saved queries cannot be read.
  StoredTables(JetFilePtr file, const Catalog& catalog)
      : file_(std::move(file)), catalog_(catalog), queries_(file_, catalog) {}

  // Objects of the catalog, system tables included. A linked table is found, and its columns cannot be had:
  // 3000, saying where it lies.
  std::optional<access_sql::QueryObject> Find(std::string_view name) const override;
  std::vector<access_sql::ResultColumn> Columns(const access_sql::QueryObject& table) const override;
  std::unique_ptr<access_sql::TableRows> Open(const access_sql::QueryObject& table) const override;
  std::unique_ptr<access_sql::SelectStatement> Statement(const access_sql::QueryObject& query) const override;

 private:
  const CatalogEntry& EntryOf(const access_sql::QueryObject& object) const;

  JetFilePtr file_;
  const Catalog& catalog_;
  StoredQueries queries_;
};

// An object of the catalog as queries name it.
access_sql::QueryObject QueryObjectOf(const CatalogEntry& entry);

}  // namespace kestrel::access
