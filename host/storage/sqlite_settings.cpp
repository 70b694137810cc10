#include "storage/sqlite_settings.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

// In KiB.
constexpr std::int64_t kLeastCache = 2048;
constexpr std::int64_t kMostCache = 65536;

void SetCache(Connection& connection, std::int64_t size) {
  connection.Execute("PRAGMA cache_size = -" + std::to_string(size));
}

}  // namespace

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
  SetCache(connection, kMostCache);
  connection.Execute("PRAGMA temp_store = MEMORY");
}

void TuneForTrial(Connection& connection) {
  if (!IsSqlite(connection)) return;
  const RecordsetPtr size =
      connection.OpenRecordset("SELECT page_count * page_size / 1024 FROM pragma_page_count, pragma_page_size");
  SetCache(connection, std::clamp(size->ValueAt(0).ToInteger(), kLeastCache, kMostCache));
}

}  // namespace kestrel::host
