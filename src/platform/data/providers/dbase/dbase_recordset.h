// The records of a dBase table as a record set.
#pragma once

#include <memory>

#include "formats/dbase/table.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::dbase {

// A table that does not hold the records that its head tells of is broken off behind its last one.
class DbaseRecordset final : public IndexedRecordset {
 public:
  // Raises what reading the first record raises.
  static RecordsetPtr Open(Table table);

  // All three: 75 where the record was changed or cut off since the set was opened; it is broken off there then.
  void MoveFirst() override;
  void MoveNext() override;
  void GoTo(std::int64_t bookmark) override;
  std::string_view TextAt(std::size_t column) const override {
    RequireCell(column);
    return table_.Text(column);
  }

 protected:
  bool IsNullAt(std::size_t, std::size_t column) const override { return table_.IsNull(column); }
  std::string_view TextAt(std::size_t, std::size_t column) const override { return table_.Text(column); }

 private:
  explicit DbaseRecordset(Table table);
  // Makes the current row the table's.
  void Fetch();

  Table table_;
};

}  // namespace kestrel::dbase
