#include "app/host_database.h"

#include <algorithm>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"

namespace kestrel::host {

std::string HostDatabase(const std::string& folder, const std::string& connection_string) {
  if (!connection_string.empty()) return connection_string;
  std::string database = JoinPath(folder, "kestrel.db");
  // Opening would make an empty one.
  if (!FileExists(database)) {
    throw RuntimeError(ErrorNumber::kFileNotFound,
                       "Im Ordner '" + folder +
                           "' liegt keine Beispielanwendung. Legen Sie sie mit 'kestrel-import init " + folder +
                           "' an.");
  }
  return database;
}

ConnectionPtr OpenHostDatabase(const std::string& folder, const std::string& connection_string) {
  ConnectionPtr connection = OpenConnection(HostDatabase(folder, connection_string));
  const std::vector<CatalogTable> tables = connection->Tables();
  const bool has_addresses = std::any_of(tables.begin(), tables.end(), [](const CatalogTable& table) {
    return EqualsIgnoringCase(table.name, "Kunden");
  });
  if (!has_addresses) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Die Datenbank enthält keine Adresslisten der Beispielanwendung.");
  }
  return connection;
}

}  // namespace kestrel::host
