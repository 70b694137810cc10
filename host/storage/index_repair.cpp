#include "storage/index_repair.h"

#include "schema/host_schema.h"

namespace kestrel::host {

std::string RestoreAddressIndexes(Connection& connection) {
  if (!IsSqlite(connection)) return {};
  const RecordsetPtr found = connection.OpenRecordset(
      "SELECT count(*) FILTER (WHERE type = 'table' AND name = 'Adressindex'),"
      " count(*) FILTER (WHERE type = 'index' AND name IN ('Adressindex1', 'Adressindex2', 'Adressindex3'))"
      " FROM sqlite_schema");
  if (found->TextAt(0) == "0" || found->TextAt(1) == "3") return {};
  CreateAddressIndexes(connection);
  return "Die Indizes der Tabelle 'Adressindex' fehlten in der Datenbank und wurden neu angelegt.";
}

}  // namespace kestrel::host
