#include "platform/data/providers/access/access_connection.h"

#include <memory>
#include <utility>

#include "formats/access/cell_value.h"
#include "formats/access/stored_query.h"
#include "formats/access_sql/query_compiler.h"
#include "formats/access_sql/query_database.h"
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

std::vector<std::string> NamesOf(const QueryPlan& plan) {
  std::vector<std::string> names;
  for (const ResultColumn& column : plan.selects.back().columns) names.push_back(column.name);
  return names;
}

}  // namespace

AccessConnection::AccessConnection(const std::string& path, std::string_view password)
    : file_(ReadingFile(path,
                        [&] {
                          SteadyFile file = ReadSteadyFile(path);
                          return std::make_shared<const JetFile>(std::move(file.content), password, path,
                                                                 file.identity);
                        })),
      catalog_(ReadingFile(path, [&] { return Catalog(file_); })) {}

void AccessConnection::Close() {
  ReadOnlyConnection::Close();
  file_.reset();
}

std::vector<CatalogTable> AccessConnection::Tables() {
  RequireOpen();
  std::vector<CatalogTable> tables;
  for (const CatalogEntry& entry : catalog_.entries()) {
    if (entry.listed) tables.push_back({entry.name, std::string(TypeName(entry.kind))});
  }
  return tables;
}

const CatalogEntry& AccessConnection::Require(std::string_view table) const {
  const CatalogEntry* entry = catalog_.Find(table);
  if (entry == nullptr) {
    std::string text = "Die Access-Datenbank hat keine Tabelle oder Abfrage '" + std::string(table) + "'.";
    if (catalog_.damage())
      text += " Ihr Verzeichnis ist aber nicht vollständig. " + catalog_.damage()->Description();
    throw RuntimeError(ErrorNumber::kDatabase, std::move(text));
  }
  if (entry->kind == ObjectKind::kLinkedTable || entry->kind == ObjectKind::kOdbcTable) {
    throw LinkedTableError(*entry);
  }
  return *entry;
}

QueryPlan AccessConnection::Plan(const CatalogEntry& query) const {
  const StoredQueries queries(file_, catalog_);
  return QueryCompiler(file_, catalog_, queries).Compile(query);
}

std::vector<std::string> AccessConnection::ColumnNames(std::string_view table) {
  RequireOpen();
  const CatalogEntry& entry = Require(table);
  if (entry.kind == ObjectKind::kQuery) return NamesOf(Plan(entry));
  std::vector<std::string> names;
  for (const Column& column : ReadTableDefinition(*file_, entry.Place()).columns) {
    names.push_back(column.name);
  }
  return names;
}

std::vector<SourceRemark> AccessConnection::Remarks(std::string_view table) {
  RequireOpen();
  std::vector<SourceRemark> remarks;
  if (table.empty()) {
    if (const auto& damage = catalog_.damage()) {
      remarks.push_back(
          {"", "Das Verzeichnis der Access-Datei ist nicht vollständig, vielleicht fehlen Tabellen. " +
                   damage->Description()});
    }
    return remarks;
  }
  const CatalogEntry& entry = Require(table);
  if (entry.kind == ObjectKind::kQuery) return remarks;
  const TableReader reader(file_, entry.Place());
  if (const auto loss = reader.Loss(entry.name)) remarks.push_back({"", loss->Description()});
  for (const Column& column : reader.left_out()) {
    remarks.push_back({column.name, UnreadableColumn(entry.name, column).Description()});
  }
  return remarks;
}

RecordsetPtr AccessConnection::OpenTable(const TableName& table) {
  const CatalogEntry& entry = Require(JoinTableName(table));
  if (entry.kind == ObjectKind::kQuery) {
    const QueryPlan plan = Plan(entry);
    try {
      return std::make_shared<QueryRecordset>(NamesOf(plan), std::make_unique<QueryDatabase>(file_, plan));
    } catch (const RuntimeError& error) {
      throw QueryError(entry, error.Description());
    }
  }
  return std::make_shared<TableRecordset>(TableReader(file_, entry.Place()), entry.name);
}

}  // namespace kestrel::access
