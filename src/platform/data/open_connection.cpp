#include "kestrel/open_connection.h"

#include <string>

#include "platform/data/connection_string.h"
#include "platform/data/providers/access/access_provider.h"
#include "platform/data/providers/dbase/dbase_provider.h"
#include "platform/data/providers/excel/excel_provider.h"
#include "platform/data/providers/odbc/odbc_provider.h"
#include "platform/data/providers/postgres/postgres_provider.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"

namespace kestrel {

namespace {

struct Provider {
  bool (*serves)(const ConnectionKeys& keys);
  ConnectionPtr (*open)(const ConnectionKeys& keys, std::string_view whole);
};

// Asked from the first to the last; what takes any driver stands behind those that take certain ones.
constexpr Provider kProviders[] = {
    {sqlite::Serves, sqlite::Open}, {postgres::Serves, postgres::Open}, {excel::Serves, excel::Open},
    {dbase::Serves, dbase::Open},   {access::Serves, access::Open},     {odbc::Serves, odbc::Open},
};

// What may be told of a connection string that nothing serves: its provider, never its other keys.
std::string NameOf(const ConnectionKeys& keys) {
  for (const char* key : {"Provider", "Driver", "DSN"}) {
    if (const auto value = keys.Find(key)) return std::string(key) + "=" + *value;
  }
  return {};
}

}  // namespace

ConnectionPtr OpenConnection(std::string_view connection_string) {
  const ConnectionKeys keys(connection_string);
  for (const Provider& provider : kProviders) {
    if (provider.serves(keys)) return provider.open(keys, connection_string);
  }
  std::string description(DescriptionOf(ErrorNumber::kProviderNotFound));
  if (const std::string name = NameOf(keys); !name.empty()) description += ": " + name;
  throw RuntimeError(ErrorNumber::kProviderNotFound, std::move(description));
}

}  // namespace kestrel
