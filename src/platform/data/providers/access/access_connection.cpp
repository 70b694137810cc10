#include "platform/data/providers/access/access_connection.h"

#include <memory>
#include <utility>

#include "formats/access/cell_value.h"
#include "platform/base/steady_file.h"
#include "platform/data/providers/access/query_recordset.h"
#include "platform/data/providers/access/table_recordset.h"

namespace kestrel::access {
namespace {

std::string_view TypeName(ObjectKind kind) {
  switch (kind) {
    case ObjectKind::kQuery: return "VIEW";
    case ObjectKind::kLinkedTable: return "LINK";
    case ObjectKind::kOdbcTable: return "PASS-THROUGH";
    default: return "TABLE";
  }
}

}  // namespace

AccessConnection::AccessConnection(const std::string& path, std::string_view password)
    : database_(ReadingFile(path, [&] {
        SteadyFile file = ReadSteadyFile(path);
        return Database(std::move(file.content), password, path, file.identity);
      })) {}

void AccessConnection::Close() {
  ReadOnlyConnection::Close();
  database_.reset();
}

std::vector<CatalogTable> AccessConnection::Tables() {
  RequireOpen();
  std::vector<CatalogTable> tables;
  for (const CatalogEntry& entry : database_->Objects()) {
    if (entry.listed) tables.push_back({entry.name, std::string(TypeName(entry.kind))});
  }
  return tables;
}

std::vector<std::string> AccessConnection::ColumnNames(std::string_view table) {
  RequireOpen();
  return database_->ColumnNames(database_->Require(table));
}

std::vector<SourceRemark> AccessConnection::Remarks(std::string_view table) {
  RequireOpen();
  std::vector<SourceRemark> remarks;
  if (table.empty()) {
    if (const auto& damage = database_->Damage()) {
      remarks.push_back(
          {"", "Das Verzeichnis der Access-Datei ist nicht vollständig, vielleicht fehlen Tabellen. " +
                   damage->Description()});
    }
    return remarks;
  }
  const CatalogEntry& entry = database_->Require(table);
  if (entry.kind == ObjectKind::kQuery) return remarks;
  const TableReader reader = database_->OpenTable(entry);
  if (const auto loss = reader.Loss(entry.name)) remarks.push_back({"", loss->Description()});
  for (const Column& column : reader.left_out()) {
    remarks.push_back({column.name, UnreadableColumn(entry.name, column).Description()});
  }
  return remarks;
}

RecordsetPtr AccessConnection::OpenTable(const TableName& table) {
  const CatalogEntry& entry = database_->Require(JoinTableName(table));
  if (entry.kind != ObjectKind::kQuery) {
    return std::make_shared<TableRecordset>(database_->OpenTable(entry), entry.name);
  }
  Database::QueryResult result = database_->RunQuery(entry);
  return std::make_shared<QueryRecordset>(std::move(result.names), std::move(result.rows),
                                          database_->identity());
}

}  // namespace kestrel::access
