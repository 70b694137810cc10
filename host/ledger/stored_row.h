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
  // Of the row read last, one a field of the destination; live until the next Read.
  const RecordValues& values() const { return values_; }

 private:
  std::unique_ptr<Statement> select_;
  std::vector<FieldKind> kinds_;
  RecordValues values_;
  std::vector<std::string> texts_;  // that values_ are views of
};

// Whether a column that holds `stored` still holds what was given to it as `given`: a database may keep a number
// as text, or a whole number as a real one.
bool IsSameValue(const StoredValue& stored, const StoredValue& given);

// The number that a value is, also where a database keeps it as text; none for another text and null.
std::optional<double> NumberOf(const StoredValue& value);

// A value for a person: null is empty, a real number has a decimal comma.
std::string ShownValue(const StoredValue& value);

}  // namespace kestrel::host
