// Reads rows of the address index whose numbers are known, in place of the query that looks for their keys.
//
// Such a query searches three indexes, on SQLite each of them in every section; a row is found at once by its number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"

namespace kestrel::host {

class RowLookUp {
 public:
  // `connection` outlives this object.
  explicit RowLookUp(Connection& connection);

  // Of these rows (AdressId, in any order, some perhaps more than once) those that have one of the values now, in the order
  // in which the query for these values would find them. They live until the next call. Error 3000.
  std::span<const FoundAddress> Read(std::vector<std::int64_t>& address_ids,
                                     std::span<const SoughtValue> values);

 private:
  struct Row {
    std::tuple<std::size_t, int, std::int64_t> place;  // the first of the values that it has, section, number
    std::int64_t address_type;
    std::string reference;
    std::array<std::string, 3> keys;
  };
  void ReadOne(std::int64_t address_id, std::span<const SoughtValue> values);

  Connection& connection_;
  AbsentValues& absent_;
  const bool has_sections_;
  std::unique_ptr<Statement> query_;
  std::vector<Row> rows_;
  std::vector<FoundAddress> answer_;
};

}  // namespace kestrel::host
