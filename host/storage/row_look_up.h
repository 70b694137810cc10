// Reads rows of the address index whose numbers are known, in place of the query that looks for their keys.
//
// Such a query searches three indexes, on SQLite each of them in every section; a row is found at once by its number. Of
// rows that were learned and stand there unchanged nothing is read at all.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/absent_values.h"
#include "platform/data/coming_lookups.h"
#include "storage/keys_ahead.h"
#include "storage/known_addresses.h"

namespace kestrel::host {

class RowLookUp {
 public:
  // A row that was learned as it stands in the table, and what KnownAddresses::IsSameKey compares of its keys.
  struct LearnedRow {
    std::int64_t address_id;
    KnownAddresses::Hashes keys;
  };
  using Digits = std::array<char, 24>;

  // `connection` outlives this object.
  explicit RowLookUp(Connection& connection);

  // What the number of a row tells, where the host has written it.
  static std::int64_t TypeOf(std::int64_t address_id) { return address_id % KeysAhead::kTypesPerNumber; }
  static std::int64_t NumberOf(std::int64_t address_id) { return address_id / KeysAhead::kTypesPerNumber; }
  static std::string_view TextOf(std::int64_t number, Digits& digits);

  // Of these rows (AdressId, in any order, some perhaps more than once) those that have one of the values now, in the order
  // in which the query for these values would find them. They live until the next call. Error 3000.
  std::span<const FoundAddress> Read(std::vector<std::int64_t>& address_ids,
                                     std::span<const SoughtValue> values);

  // The same of rows of which nothing need be read. `hashes`: of the values. Of keys that are none of them it is only told
  // whether there is one. Raises nothing.
  std::span<const FoundAddress> Tell(std::span<const LearnedRow> learned, std::span<const SoughtValue> values,
                                     const KnownAddresses::Hashes& hashes);

 private:
  using Place =
      std::tuple<std::size_t, int, std::int64_t>;  // the first of the values that it has, section, number
  struct Row {
    Place place;
    std::int64_t address_type;
    std::string reference;
    std::array<std::string, 3> keys;
  };
  Place PlaceOf(std::size_t value, std::int64_t address_id) const;
  std::span<const FoundAddress> Answer();
  void ReadOne(std::int64_t address_id, std::span<const SoughtValue> values);

  Connection& connection_;
  AbsentValues& absent_;
  const bool has_sections_;
  std::unique_ptr<Statement> query_;
  std::vector<Row> rows_;
  std::vector<FoundAddress> answer_;
};

}  // namespace kestrel::host
