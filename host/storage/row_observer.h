// Who is told of the rows that a RecordWriter stores, and writes down in the same commit what happened to them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/record_values.h"

namespace kestrel::host {

// Called under the connection's CallMutex, from whatever thread ends a group. `record` counts the records as
// RecordWriter::Store does.
class RowObserver {
 public:
  RowObserver() = default;
  RowObserver(const RowObserver&) = delete;
  RowObserver& operator=(const RowObserver&) = delete;
  virtual ~RowObserver() = default;

  // A row with these values stands in the open group. Raises nothing.
  virtual void Inserted(std::int64_t record, std::int64_t number, const RecordValues& values) = 0;
  // For a row that is told later, as its values are at hand: what is to be written down of them, which is then told in
  // their place. False where they will be needed themselves. Neither raises anything.
  virtual bool Foresee(const RecordValues& values, std::string& content) = 0;
  virtual void InsertedAsForeseen(std::int64_t record, std::int64_t number, std::string_view content) = 0;
  // The fields of the row with this number that are `given` are about to be updated. Error 3000, also where they are not
  // to be.
  virtual void Updating(std::int64_t number, const std::vector<bool>& given) = 0;
  // The values of the fields that are `given` have replaced those of that row. Raises nothing.
  virtual void Updated(std::int64_t record, std::int64_t number, const RecordValues& values,
                       const std::vector<bool>& given) = 0;
  // Stores what was told since the last call of one of these three, in the open transaction. Error 3000.
  virtual void WriteDown() = 0;
  // What was written down stands ...
  virtual void Committed() = 0;
  // ... or it is gone, and what it was about with it. Both raise nothing.
  virtual void Lost() = 0;
  // After Lost, in a new transaction, where the answer to the commit is missing: whether what was written down stands.
  // Where it does not, it never will once this transaction is committed. Waits for what the server is still at.
  // Error 3000.
  virtual bool Stands() = 0;
};

}  // namespace kestrel::host
