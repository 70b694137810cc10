#include "storage/sqlite_settings.h"

#include "schema/host_schema.h"

namespace kestrel::host {

void PrepareNewDatabase(Connection& connection) {
  if (!IsSqlite(connection) || !connection.Tables().empty()) return;
  // An import with random keys spends its time finding and writing pages, not bytes.
  connection.Execute("PRAGMA page_size = 16384");
  connection.Execute("PRAGMA journal_mode = WAL");
}

void TuneForImport(Connection& connection) {
  if (!IsSqlite(connection) || connection.InTransaction()) return;
  if (connection.OpenRecordset("PRAGMA journal_mode")->TextAt(0) == "wal") {
    connection.Execute("PRAGMA synchronous = NORMAL");
    // The write ahead log is carried over when it has 16 MB, which it then uses again, still in the processor's
    // caches; one large transaction may leave it longer, up to 64 MB.
    connection.Execute("PRAGMA wal_autocheckpoint = 1024");
    connection.Execute("PRAGMA journal_size_limit = 67108864");
  }
  // Taken only as it is needed; fresh memory for pages that are only appended costs more than reading an old
  // one again.
  connection.Execute("PRAGMA cache_size = -65536");
  connection.Execute("PRAGMA temp_store = MEMORY");
}

}  // namespace kestrel::host
