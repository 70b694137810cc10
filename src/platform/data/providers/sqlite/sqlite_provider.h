// SQLite databases, for the sample host and for tests.
//
//   Provider=SQLite;Data Source=FILE[;Mode=ReadOnly][;LockWait=SECONDS]
//   a plain path that ends in .sqlite, .sqlite3 or .db
//
// A file that is missing is created; ":memory:" is a database of its own for each connection. A file
// connection waits up to 60 seconds for another one's lock (or LockWait, or KESTREL_LOCK_WAIT) and keeps
// foreign keys. Pages, journal and cache are the file's own and SQLite's: whoever wants others asks for them by
// Execute ("PRAGMA ..."). With a write ahead log that is not flushed at each commit, MakeDurable does it. A file
// that is no database, is damaged at its head or stays locked is refused when it is opened for writing.
#pragma once

#include <string>
#include <string_view>

#include "kestrel/connection.h"
#include "kestrel/export.h"
#include "platform/data/connection_string.h"

struct sqlite3;

namespace kestrel {

// The file of the SQLite database that a connection string names; empty for another one's.
KESTREL_INTERNAL std::string SqliteFileOf(std::string_view connection_string);

}  // namespace kestrel

namespace kestrel::sqlite {

// A handle of another program part, which keeps and closes it. `libversion` is that part's sqlite3_libversion. Error 3000
// where that is another SQLite's, or a transaction is open.
ConnectionPtr Adopt(sqlite3* handle, const char* (*libversion)());
// Error 3000 where the connection is such a handle and its owner has begun a transaction since: an import into it would
// be the owner's to take back. Any other object passes.
void RequireNoOwnersTransaction(const ObjectPtr& connection);

bool Serves(const ConnectionKeys& keys);
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::sqlite
