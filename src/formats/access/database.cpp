#include "formats/access/database.h"

#include "formats/access/stored_tables.h"

namespace kestrel::access {

const CatalogEntry& Database::Require(std::string_view name) const {
  const CatalogEntry* entry = catalog_.Find(name);
  if (entry == nullptr) {
    std::string text = "Die Access-Datenbank hat keine Tabelle oder Abfrage '" + std::string(name) + "'.";
    if (Damage()) text += " Ihr Verzeichnis ist aber nicht vollständig. " + Damage()->Description();
    throw FormatError(std::move(text), {.file = file_->name()});
  }
  if (entry->kind == ObjectKind::kLinkedTable || entry->kind == ObjectKind::kOdbcTable) {
    throw LinkedTableError(*entry);
  }
  return *entry;
}

std::vector<std::string> Database::ColumnNames(const CatalogEntry& object) const {
  if (object.kind == ObjectKind::kQuery) {
    const StoredTables tables(file_, catalog_);
    return access_sql::Query(tables, QueryObjectOf(object)).ColumnNames();
  }
  std::vector<std::string> names;
  for (const Column& column : ReadTableDefinition(*file_, object.Place()).columns) names.push_back(column.name);
  return names;
}

Database::QueryResult Database::RunQuery(const CatalogEntry& query) const {
  const StoredTables tables(file_, catalog_);
  const access_sql::Query compiled(tables, QueryObjectOf(query));
  return {compiled.ColumnNames(), compiled.Run()};
}

}  // namespace kestrel::access
