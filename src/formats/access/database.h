// An Access file (Access 97 to today, .mdb and .accdb): its tables, and its saved queries run over them.
//
//   const access::Database database(ReadWholeFile(path), password, path);
//   for (const access::CatalogEntry& entry : database.Objects()) {
//     if (!entry.listed || entry.kind != access::ObjectKind::kTable) continue;
//     access::TableReader table = database.OpenTable(entry);
//     for (std::size_t row = 0; row < table.RowCount(); ++row) { table.GoTo(row); Use(table.Text(0)); }
//     if (const auto loss = table.Loss(entry.name)) Tell(loss->Description());
//   }
//
// The file is in memory, and never changed. All texts are UTF-8, values follow value_text.h. What is wrong with
// it is a FormatError, which names the page where one is at fault. Readers share the file and may outlive the
// database; one thread at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access/catalog.h"
#include "formats/access/table_reader.h"
#include "formats/access_sql/query.h"
#include "kestrel/file_identity.h"

namespace kestrel::access {

class Database {
 public:
  // Takes the content of a file. `password` counts only where the file has one; `name` is what errors call it.
  // Raises FormatError for content that is no Access database, and where the password or the encryption is another.
  Database(std::string content, std::string_view password, std::string name = "",
           std::optional<FileIdentity> identity = std::nullopt)
      : Database(std::make_shared<const JetFile>(std::move(content), password, std::move(name), identity)) {}
  // The same for a file that is open.
  explicit Database(JetFilePtr file) : file_(std::move(file)), catalog_(file_) {}

  // Tables before queries, each by name in dictionary order; objects that Access hides are not listed.
  const std::vector<CatalogEntry>& Objects() const { return catalog_.entries(); }
  // Why objects may be missing.
  const std::optional<RuntimeError>& Damage() const { return catalog_.damage(); }
  // The table or query of that name, case ignored, hidden ones too. Raises 3000 where there is none, and where
  // it lies in another file.
  const CatalogEntry& Require(std::string_view name) const;
  const std::optional<FileIdentity>& identity() const { return file_->identity(); }

  std::vector<std::string> ColumnNames(const CatalogEntry& object) const;
  TableReader OpenTable(const CatalogEntry& table) const { return TableReader(file_, table.Place()); }
  // What a query gives, and the names of its columns. Raises 3000, naming it, where it cannot be run.
  struct QueryResult {
    std::vector<std::string> names;
    std::unique_ptr<access_sql::QueryRows> rows;
  };
  QueryResult RunQuery(const CatalogEntry& query) const;

 private:
  JetFilePtr file_;
  Catalog catalog_;
};

}  // namespace kestrel::access
