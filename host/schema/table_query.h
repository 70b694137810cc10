// Queries of one table of the host, told as such: rows of other tables that are written behind
// (storage/grouped_writes.h) need not be stored before them.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "kestrel/connection.h"
#include "platform/data/absent_values.h"

namespace kestrel::host {

class TableQuery {
 public:
  // `connection` outlives this object. `table`: as queries name it.
  TableQuery(Connection& connection, std::string table) : connection_(connection), table_(std::move(table)) {}

  // What `open` gives and raises; it opens a query of the table alone.
  template <class Query>
  RecordsetPtr Open(Query&& open) {
    const std::lock_guard lock(connection_.CallMutex());
    if (!IsTable()) return std::forward<Query>(open)();
    const SoughtRows rows{table_, {}};
    const AbsentValues::Query opened(connection_.attachments().Of<AbsentValues>(connection_), rows);
    return std::forward<Query>(open)();
  }

 private:
  // A view of that name may read any other table. Asked once; error 3000.
  bool IsTable();

  Connection& connection_;
  const std::string table_;
  std::optional<bool> is_table_;
};

}  // namespace kestrel::host
