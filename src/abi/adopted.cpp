// Connections that a program has opened itself.
#include "abi/library.h"
#include "platform/data/providers/postgres/postgres_provider.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"

using namespace kestrel::abi;

int32_t kestrel_connection_adopt_sqlite(kestrel_library* library, void* sqlite3_handle,
                                        const char* (*libversion)(void), kestrel_handle* connection) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(connection, "connection");
    if (sqlite3_handle == nullptr) RaiseArgument("'sqlite3_handle' ist NULL.");
    target = open.handles.Add(kestrel::sqlite::Adopt(static_cast<sqlite3*>(sqlite3_handle), libversion));
  });
}

int32_t kestrel_connection_adopt_postgresql(kestrel_library* library, void* pg_connection,
                                            kestrel_handle* connection) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(connection, "connection");
    if (pg_connection == nullptr) RaiseArgument("'pg_connection' ist NULL.");
    target = open.handles.Add(kestrel::postgres::Adopt(static_cast<pg_conn*>(pg_connection)));
  });
}
