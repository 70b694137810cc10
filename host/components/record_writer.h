// Stores the records of one destination: a new number is inserted, an existing one updated, an empty one
// becomes the next free one; the address index follows.
//
// How a record stays whole without a savepoint each (which would copy every page it touches):
//  1. An insert is one statement that leaves the table alone where the number exists.
//  2. Only then the index row is written, one statement more. Where that fails, the inserted row is deleted
//     again before the error passes on.
//  3. A record whose number exists is updated inside a savepoint. Fields without a value keep what they
//     had; the index row is made from the row as it then stands.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "components/address_index.h"
#include "components/field_value.h"
#include "platform/data/grouped_writes.h"
#include "platform/data/recordset.h"
#include "schema/destination.h"

namespace kestrel::host {

class RecordWriter {
 public:
  // `connection` and `destination` outlive this object. Error 3000 where the table does not fit.
  RecordWriter(Connection& connection, const Destination& destination, std::shared_ptr<KeyMemory> keys);

  // Stores the current row of `record`; column i belongs to field columns[i] of the destination. Errors: 94 for
  // an empty mandatory field, those of ConvertFieldText, AddressIndex and the database.
  void Store(const Recordset& record, const std::vector<std::size_t>& columns);

 private:
  struct Cell {
    StoredValue value;
    IsoDate date;
  };

  void Convert(const Recordset& record, const std::vector<std::size_t>& columns);
  bool InsertNew();
  void UpdateExisting();
  void InsertRow(std::int64_t number, bool& inserted);
  std::int64_t NextNumber();
  Statement& UpdateFor(const std::vector<bool>& given);
  std::string_view TextOf(const std::optional<std::size_t>& field) const;
  IndexedAddress GivenAddress() const;
  void IndexStoredRow(std::int64_t number);
  static void Bind(Statement& statement, std::size_t parameter, const StoredValue& value);

  Connection& connection_;
  const Destination& destination_;
  GroupedWrites& group_;
  std::optional<AddressIndex> index_;
  std::unique_ptr<Statement> insert_;
  std::unique_ptr<Statement> remove_;
  std::unique_ptr<Statement> select_address_;
  std::map<std::vector<bool>, std::unique_ptr<Statement>> updates_;  // by the fields that have a value
  std::array<std::optional<std::size_t>, 6> address_fields_;         // PLZ, Ort, Strasse, Bez1 to Bez3

  std::vector<Cell> cells_;  // of the record on its way, one a field
  std::int64_t next_number_ = 1;
  std::optional<std::uint64_t> numbered_in_;  // the group whose greatest number is known
};

}  // namespace kestrel::host
