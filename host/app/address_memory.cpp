#include "app/address_memory.h"

namespace kestrel::host {

namespace {

std::string FirstText(Connection& connection, const char* query) {
  const RecordsetPtr rows = connection.OpenRecordset(query);
  return rows->IsEof() ? std::string() : std::string(rows->TextAt(0));
}

}  // namespace

std::string DataVersion(Connection& connection) {
  // SQLite counts the commits of all other connections. On PostgreSQL two snapshots that look alike see the same rows.
  const bool is_sqlite = connection.capabilities().dialect == Dialect::kSqlite;
  std::string version;
  Trap(
      [&] {
        version = FirstText(connection,
                            is_sqlite ? "PRAGMA data_version" : "SELECT CAST(txid_current_snapshot() AS text)");
      },
      // Another database: every question reads the list.
      [](const RuntimeError&) {});
  return version;
}

}  // namespace kestrel::host
