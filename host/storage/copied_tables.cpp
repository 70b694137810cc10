#include "storage/copied_tables.h"

#include "kestrel/runtime_error.h"

namespace kestrel::host {

bool TakesCopies(Connection& connection, const std::string& table) {
  bool takes = false;
  const auto ask = [&] {
    const auto query = connection.Prepare(
        "SELECT 1 FROM pg_catalog.pg_class WHERE oid = to_regclass(?) AND relkind IN ('r', 'p') "
        "AND NOT relhasrules AND NOT relrowsecurity");
    query->BindText(0, table);
    takes = !query->Open()->IsEof();
  };
  Trap(ask, [](const RuntimeError&) {});
  return takes;
}

}  // namespace kestrel::host
