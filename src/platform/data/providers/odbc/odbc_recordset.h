// The rows of one query, fetched in blocks as the caller moves on.
//
// 1. Columns are bound for up to 200 rows, fewer where rows are wide, so that a block stays small. From the
//    first long column on, rows come one by one and long cells are read piece by piece.
// 2. At the end of the rows the link is given back. Going back beyond the first block runs the query again.
// 3. RecordCount asks the server on a link of its own and keeps the answer.
// 4. A value longer than the driver announced makes its column a long one: the query is run again and read on
//    from the same row.
// 5. A row that the driver could not read (a value that does not fit its type) is an error that names row and
//    column, raised by the move onto it, and the end of the set.
// 6. A stop request ends a call of the driver's; where it does not come back even so, the call is left with its link, and
//    the set has ended.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"
#include "kestrel/waits.h"
#include "platform/data/providers/odbc/driver_thread.h"
#include "platform/data/providers/odbc/odbc_reading.h"

namespace kestrel::odbc {

class OdbcRecordset final : public Recordset {
 public:
  // Runs the query and fetches the first block. Error 3000.
  OdbcRecordset(std::shared_ptr<LinkPool> pool, std::shared_ptr<Waits> waits, std::string_view sql);
  ~OdbcRecordset() override;

  std::size_t ColumnCount() const override { return reading_->columns.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return at_end_ && Position() == 0; }
  bool IsEof() const override { return at_end_; }
  void MoveFirst() override;
  void MoveNext() override;
  std::int64_t RecordCount() const override;
  std::optional<RuntimeError> BrokenOff() const override { return at_end_ ? broken_off_ : std::nullopt; }
  std::int64_t Bookmark() const override;
  void GoTo(std::int64_t bookmark) override;
  bool IsNull(std::size_t column) const override;
  std::string_view TextAt(std::size_t column) const override;
  Value ValueAt(std::size_t column) const override;

 private:
  std::int64_t Position() const { return block_start_ + static_cast<std::int64_t>(row_); }
  // A call of the driver's. Where somebody watches the waits of the connection it is made by another thread, and left
  // where it does not come back. Error 3000.
  void Call(std::function<void(OdbcReading&)> step) const;
  // Runs the query from its start; the first block is fetched.
  void Start();
  // Fetches the next block.
  void FetchBlock();
  // The block did not take a value whole: starts again with wider columns and comes back to its first row.
  void Widen();
  const ColumnBuffer& Current(std::size_t column, std::size_t& place) const;

  const std::shared_ptr<Waits> waits_;
  const std::shared_ptr<OdbcReading> reading_;
  mutable DriverThread thread_;
  mutable bool was_left_ = false;  // in a call: of reading_, nothing is touched any more but names
  std::int64_t block_start_ = 0;
  std::size_t fetched_ = 0;  // rows in the block
  std::size_t row_ = 0;      // within the block
  bool at_end_ = false;
  std::optional<RuntimeError> broken_off_;
  mutable std::int64_t count_ = -1;
};

}  // namespace kestrel::odbc
