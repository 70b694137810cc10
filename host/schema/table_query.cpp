#include "schema/table_query.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrel::host {

bool TableQuery::IsTable() {
  if (!is_table_) {
    is_table_ = connection_.capabilities().announces_queries &&
                std::ranges::any_of(connection_.Tables(), [this](const CatalogTable& table) {
                  return EqualsIgnoringCase(table.name, table_) && table.type == "TABLE";
                });
  }
  return *is_table_;
}

}  // namespace kestrel::host
