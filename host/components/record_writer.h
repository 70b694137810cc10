// Stores the records of one destination: a new number is inserted, an existing one updated, an empty one
// becomes the next free one; the address index follows.
//
// How a record stays whole without a savepoint each (which would copy every page it touches):
//  1. An insert is one statement that leaves the table alone where the number exists.
//  2. Only then the index row is written, one statement more. Where that fails, the inserted row is deleted
//     again before the error passes on.
//  3. A record whose number exists is updated inside a savepoint. Fields without a value keep what they
//     had; the index row is made from the row as it then stands.
//  4. Where the database takes statements without an answer each, records that are new as far as one can tell
//     are handed to LateRecords; the three steps above are then its way of doing them again.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "components/address_index.h"
#include "components/field_value.h"
#include "components/late_records.h"
#include "components/record_values.h"
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
  // A record may also fail later, which LateErrors() tells.
  void Store(const Recordset& record, const std::vector<std::size_t>& columns);

  // Whether LateErrors() can ever hold one: not where every record is waited for.
  bool CanFailLate() const { return late_ != nullptr; }
  // The errors of earlier records that are not told yet, in the order of the records.
  std::deque<RuntimeError>& LateErrors() { return late_errors_; }

 private:
  void Convert(const Recordset& record, const std::vector<std::size_t>& columns);
  void StoreLater();
  void StoreNow(RecordValues& values);
  bool InsertNew(RecordValues& values);
  void UpdateExisting(const RecordValues& values);
  void InsertRow(RecordValues& values, std::int64_t number, bool& inserted);
  std::int64_t NextNumber();
  void NoteTaken(std::int64_t number);
  Statement& UpdateFor(const std::vector<bool>& given);
  IndexedAddress AddressOf(const RecordValues& values) const;
  void IndexStoredRow(std::int64_t number);

  Connection& connection_;
  const Destination& destination_;
  GroupedWrites& group_;
  std::optional<AddressIndex> index_;
  std::unique_ptr<Statement> insert_;
  std::unique_ptr<Statement> remove_;
  std::unique_ptr<Statement> select_address_;
  std::map<std::vector<bool>, std::unique_ptr<Statement>> updates_;  // by the fields that have a value
  std::array<std::optional<std::size_t>, 6> address_fields_;         // PLZ, Ort, Strasse, Bez1 to Bez3

  // Of the record on its way, one a field; and the memory of converted dates.
  RecordValues values_;
  std::vector<IsoDate> dates_;
  std::int64_t next_number_ = 1;
  std::optional<std::uint64_t> numbered_in_;  // the group whose greatest number is known

  int new_in_a_row_;  // records that waited and had a number of their own
  std::deque<RuntimeError> late_errors_;
  std::unique_ptr<LateRecords> late_;  // its end may still store records
};

}  // namespace kestrel::host
