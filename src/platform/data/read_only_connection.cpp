#include "platform/data/read_only_connection.h"

namespace kestrel {

void ReadOnlyConnection::RequireOpen() const {
  if (!open_) throw RuntimeError(ErrorNumber::kObjectClosed);
}

std::int64_t ReadOnlyConnection::Execute(std::string_view) {
  RequireOpen();
  throw RuntimeError(ErrorNumber::kDatabase, "Diese Datenquelle wird nur gelesen, nicht verändert");
}

RecordsetPtr ReadOnlyConnection::OpenRecordset(std::string_view sql) {
  RequireOpen();
  return OpenTable(ParseSelectAll(sql));
}

}  // namespace kestrel
