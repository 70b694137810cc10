// The driver's side of a record set: a statement and the block of rows that it fills. It is shared with the thread that makes
// the driver's calls, and outlives the record set where one of these does not come back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/runtime_error.h"
#include "platform/data/providers/odbc/column_buffer.h"
#include "platform/data/providers/odbc/link.h"

namespace kestrel::odbc {

class OdbcReading {
 public:
  OdbcReading(std::shared_ptr<LinkPool> pool, std::string_view sql) : pool_(std::move(pool)), sql_(sql) {}
  ~OdbcReading() { End(); }
  OdbcReading(const OdbcReading&) = delete;
  OdbcReading& operator=(const OdbcReading&) = delete;

  // Runs the query from its start, on another link where there is a statement already. Error 3000. `many`: each call
  // costs the caller, so rows with long cells come many at a time, too.
  void Start(bool many);
  // Fills the block; false where there are no more rows, and the link is given back. Error 3000. `first` is the number of
  // its first row, from 0: a row that the driver could not read, and what follows it, is no longer in the block, its
  // error in row_error.
  bool Fetch(std::int64_t first);
  // Gives the link back.
  void End();
  // How many rows the query gives: as the server counts them, or by reading them where it cannot (two columns of one name,
  // an order). On a link of its own. Error 3000.
  std::int64_t CountRows();
  // Asks the driver to end the call that it is in. For another thread than that of all other calls.
  void Cancel();

  bool IsActive() const { return statement_ != nullptr; }
  // The cell of a row of the block, which is row `place` of its buffer.
  const ColumnBuffer& Cell(std::size_t row, std::size_t column, std::size_t& place) const {
    place = rows_.empty() ? row : 0;
    return rows_.empty() ? columns[column] : rows_[row][column];
  }
  std::size_t bound() const { return bound_; }

  std::vector<ColumnBuffer> columns;
  std::size_t fetched = 0;  // rows in the block; the driver writes it
  std::optional<RuntimeError> row_error;

 private:
  void SetStatement(std::shared_ptr<ActiveStatement> statement);
  // What was to be cancelled before.
  std::shared_ptr<ActiveStatement> SetCancelled(std::shared_ptr<ActiveStatement> statement);
  void DescribeColumns();
  void BindColumns();
  void CutAtFailedRow(std::int64_t first);
  bool FetchRows(std::int64_t first);

  const std::shared_ptr<LinkPool> pool_;
  const std::string sql_;
  std::shared_ptr<ActiveStatement> statement_;
  std::size_t bound_ = 0;                  // columns before the first long one
  std::size_t block_rows_ = 1;             // rows asked for at a time
  std::vector<std::uint16_t> row_states_;  // SQL_ROW_...; the driver writes them
  // Of long rows that come many at a time: a buffer for each cell. Empty otherwise.
  std::vector<std::vector<ColumnBuffer>> rows_;
  bool has_ended_ = false;
  // The statement to cancel. Whoever cancels shares it, as a driver may not come back from that either, and nobody waits
  // for it then.
  std::shared_ptr<ActiveStatement> cancelled_;
  std::mutex cancelled_mutex_;
};

}  // namespace kestrel::odbc
