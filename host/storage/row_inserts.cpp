#include "storage/row_inserts.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "schema/host_schema.h"

namespace kestrel::host {

RowInserts::RowInserts(Connection& connection, std::string table, std::size_t columns, Existing existing)
    : connection_(connection),
      table_(std::move(table)),
      columns_(columns),
      existing_(existing),
      statements_(kMostRows + 1) {}

Statement& RowInserts::Of(std::size_t rows) {
  std::unique_ptr<Statement>& statement = statements_.at(rows);
  if (statement == nullptr) {
    std::string row = "(?";
    for (std::size_t i = 1; i < columns_; ++i) row += ", ?";
    row += ")";
    std::string target = table_ + " VALUES " + row;
    for (std::size_t i = 1; i < rows; ++i) target += ", " + row;
    statement = connection_.Prepare(existing_ == Existing::kStays ? InsertAbsentText(connection_, target)
                                                                  : "INSERT INTO " + target);
  }
  return *statement;
}

std::size_t RowInserts::AtOnce(std::size_t waiting) { return std::bit_floor(std::min(waiting, kMostRows)); }

}  // namespace kestrel::host
