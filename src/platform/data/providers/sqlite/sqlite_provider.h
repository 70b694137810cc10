// SQLite databases, for the sample host and for tests.
//
//   Provider=SQLite;Data Source=FILE[;Mode=ReadOnly][;LockWait=SECONDS]
//   a plain path that ends in .sqlite, .sqlite3 or .db
//
// A file that is missing is created; ":memory:" is a database of its own for each connection. A file
// connection waits up to 60 seconds for another one's lock (or LockWait, or KESTREL_LOCK_WAIT), keeps foreign
// keys, writes ahead (journal_mode WAL, synchronous NORMAL: a crash of the program loses no commit, one of the
// machine none before the last MakeDurable and nothing that would leave the file inconsistent) and keeps up to
// 64 MB of pages, taken only as they are needed.
#pragma once

#include "platform/data/connection.h"
#include "platform/data/connection_string.h"

namespace kestrel::sqlite {

bool Serves(const ConnectionKeys& keys);
ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole);

}  // namespace kestrel::sqlite
