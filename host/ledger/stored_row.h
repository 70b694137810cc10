// A row of a destination's table exactly as the database holds it, so that it can be put back unchanged.
//
// What a record set shows of a date or a truth value is made for people; here values come as they are stored
// (SQLite), or in the text that reads as the same value again (PostgreSQL).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"
#include "storage/record_values.h"

namespace kestrel::host {

class StoredRow {
 public:
  // Both outlive this object. Error 3000 where the table does not fit.
  StoredRow(Connection& connection, const Destination& destination);

  // Reads the row with this number, which nobody else changes then before the transaction at hand ends; whether there
  // is one. Error 3000.
  bool Read(std::int64_t number);
  // Of the row read last, one a field of the destination, as they are put back; live until the next Read.
  const RecordValues& values() const { return values_; }
  // The same as an import would have given them: a day as such where it is stored as a time, what is true or false as 1
  // or 0.
  const RecordValues& as_imported() const { return as_imported_; }

  // Whether the field holds bytes, of which values() has but a text.
  bool HoldsBytes(std::size_t field);
  // Whether the row stays exactly as it is where the field is given this.
  bool StaysWith(std::size_t field, const StoredValue& given) const;
  // Whether the field holds what was given to it.
  bool HasImported(std::size_t field, const StoredValue& given) const;

 private:
  const bool is_sqlite_;
  const std::string from_;
  std::unique_ptr<Statement> select_;
  std::unique_ptr<Statement> select_types_;  // where there are bytes
  std::vector<FieldKind> kinds_;
  std::vector<std::string> columns_;
  RecordValues values_;
  RecordValues as_imported_;
  std::vector<std::string> texts_;  // that both are views of
  std::int64_t number_ = 0;
  bool holds_bytes_ = false;  // some field does
};

// Whether a column that holds `stored` still holds what was given to it as `given`: a database may keep a number
// as text, or a whole number as a real one.
bool IsSameValue(const StoredValue& stored, const StoredValue& given);

// A value for a person: null is empty, a real number has a decimal comma.
std::string ShownValue(const StoredValue& value);

}  // namespace kestrel::host
