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
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"
#include "platform/data/providers/odbc/column_buffer.h"
#include "platform/data/providers/odbc/link.h"

namespace kestrel::odbc {

class OdbcRecordset final : public Recordset {
 public:
  // Runs the query and fetches the first block. Error 3000.
  OdbcRecordset(std::shared_ptr<LinkPool> pool, std::string_view sql);

  std::size_t ColumnCount() const override { return columns_.size(); }
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
  // Runs the query from its start; the first block is fetched.
  void Start();
  void DescribeColumns();
  void BindColumns();
  // Fetches the next block; at the end the statement is dropped.
  void FetchBlock();
  // Cuts the block in front of a row that the driver could not read; the error waits in row_error_.
  void CutAtFailedRow();
  // The block did not take a value whole: starts again with wider columns and comes back to its first row.
  void Widen();
  const ColumnBuffer& Current(std::size_t column) const;

  std::shared_ptr<LinkPool> pool_;
  std::string sql_;
  std::unique_ptr<ActiveStatement> statement_;
  std::vector<ColumnBuffer> columns_;
  std::size_t bound_ = 0;                  // columns before the first long one
  std::size_t block_rows_ = 1;             // rows asked for at a time
  std::size_t fetched_ = 0;                // rows in the block; the driver writes it
  std::vector<std::uint16_t> row_states_;  // SQL_ROW_...; the driver writes them
  std::int64_t block_start_ = 0;
  std::size_t row_ = 0;  // within the block
  bool at_end_ = false;
  std::optional<RuntimeError> row_error_;  // of the row behind the block
  std::optional<RuntimeError> broken_off_;
  mutable std::int64_t count_ = -1;
};

}  // namespace kestrel::odbc
