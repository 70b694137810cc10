#include "schema/table_query.h"

#include <algorithm>

#include "platform/base/text.h"
#include "schema/own_tables.h"

namespace kestrel::host {

bool TableQuery::IsTable() {
  if (!is_table_) {
    const std::string in_database = OwnTable(connection_, table_);
    is_table_ = connection_.capabilities().announces_queries &&
                std::ranges::any_of(connection_.Tables(), [&](const CatalogTable& table) {
                  return EqualsIgnoringCase(table.name, in_database) && table.type == "TABLE";
                });
  }
  return *is_table_;
}

}  // namespace kestrel::host
