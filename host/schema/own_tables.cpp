#include "schema/own_tables.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kestrel/transaction.h"
#include "platform/base/text.h"
#include "platform/data/table_names.h"
#include "schema/host_schema.h"
#include "schema/number_sequence.h"

namespace kestrel::host {

namespace {

class Found final : public Attachment {
 public:
  explicit Found(Connection&) {}
  bool is_known = false;
};

TableNames& Names(Connection& connection) { return connection.attachments().Of<TableNames>(connection); }

void SetApart(Connection& connection) { Names(connection).Prefix(kOwnPrefix, OwnNames()); }

}  // namespace

int VersionOfOwnTables(Connection& connection) {
  const std::vector<CatalogTable> tables = connection.Tables();
  const auto has = [&](std::string_view name) {
    return std::ranges::any_of(tables,
                               [&](const CatalogTable& table) { return EqualsIgnoringCase(table.name, name); });
  };
  if (has(kOwnPrefix + std::string("Importziele"))) SetApart(connection);
  if (!AreOwnTablesApart(connection) && !has("Importspalten")) return kOwnVersion;
  // The first one noted none in the sample host's database.
  if (!has(OwnTable(connection, "Importfassung"))) return 1;
  const RecordsetPtr version = connection.OpenRecordset("SELECT max(Fassung) FROM Importfassung");
  return version->IsNull(0) ? 1 : static_cast<int>(version->ValueAt(0).ToInteger());
}

void FindOwnTables(Connection& connection) {
  Found& found = connection.attachments().Of<Found>(connection);
  if (found.is_known) return;
  const int version = VersionOfOwnTables(connection);
  if (version != kOwnVersion) {
    const std::string own = AreOwnTablesApart(connection) ? "Die Tabellen 'kestrel_...' dieser Datenbank"
                                                          : "Die Tabellen der eigenen Importziele";
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        version > kOwnVersion
            ? own + " hat eine spätere Version des Programms angelegt. Verwenden Sie diese Version"
            : own + " hat eine frühere Version des Programms angelegt (Fassung " + std::to_string(version) +
                  ", gebraucht wird " + std::to_string(kOwnVersion) +
                  "). 'kestrel-import target upgrade' sichert sie und stellt sie um");
  }
  found.is_known = true;
}

Connection& RequireHost(const ObjectPtr& object) {
  Connection& connection = RequireConnection(object);
  if (connection.IsOpen()) FindOwnTables(connection);
  return connection;
}

std::string OwnTable(Connection& connection, std::string_view name) {
  return Names(connection).InDatabase(name);
}

bool AreOwnTablesApart(Connection& connection) { return Names(connection).AreOthers(); }

void CreateOwnTables(Connection& connection) {
  FindOwnTables(connection);
  InTransaction(connection, [&] {
    if (!AreOwnTablesApart(connection) && !IsSampleHost(connection)) SetApart(connection);
    if (AreOwnTablesApart(connection)) CreateTablesApart(connection);
    CreateTargetTables(connection);
  });
  if (AreOwnTablesApart(connection) && !IsSqlite(connection)) {
    SequenceOf(connection, "Protokoll", "ProtokollNr");
    SequenceOf(connection, "Importlauf", "LaufNr");
  }
}

}  // namespace kestrel::host
