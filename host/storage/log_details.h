// What stands beside the logs of the host: tables Protokollherkunft (one row a log) and Protokolldetails (one a
// row that has details), which databases of earlier versions lack until a log is written or read.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/connection.h"
#include "storage/write_behind_buffer.h"

namespace kestrel::host {

// A log row's key is its log's range times this, and its own number: no look-up is needed to find a free one, and a
// log's rows follow one another.
inline constexpr std::int64_t kRowsPerLog = std::int64_t{1} << 32;
// The range is the log's number or, where its first row has several texts, that and this. So the many rows of
// records held back are appended to the table, behind the few errors of the same import, whichever log began first.
inline constexpr std::int64_t kRangesOfWideLogs = std::int64_t{1} << 30;

// Makes the two tables where they are missing, and commits the open write group before; false where they cannot
// be made. Error 3000 where nothing can be asked.
bool HasLogDetails(Connection& connection);

// Makes the columns that tell why a record was held back where a database of an earlier version lacks them; false where
// that cannot be done. There are the two tables. Error 3000 where nothing can be asked.
bool HasReasons(Connection& connection);

// The details of the rows of one log, set one by one and stored with their row. A database in which the tables
// can be neither found nor made keeps none.
class LogDetailRows {
 public:
  // `connection` outlives this object; it is in no transaction.
  explicit LogDetailRows(Connection& connection);

  // Begins a row without details. The log's own are stored with its first.
  void Begin(std::int64_t log_number);
  // A name that is not known is passed over.
  void Set(std::string_view name, std::string_view text);
  // Stores what was set, under the key of the log's row; nothing where nothing was. Errors of WriteBehindBuffer.
  void Store(std::int64_t row_key, std::int64_t log_number);
  void Flush();

  // One detail of the log itself, before its first row. A name that is not known is passed over.
  void SetOfLog(std::string_view name, std::string_view text);

 private:
  void StoreOrigin(std::int64_t log_number);

  static constexpr std::size_t kOrigins = 3;
  static constexpr std::size_t kColumns = 13;
  static constexpr std::size_t kReasonColumns = 2;  // the last ones

  Connection& connection_;
  std::array<std::string, kColumns> texts_;
  std::array<bool, kColumns> set_{};
  bool any_ = false;
  std::size_t columns_ = 0;                   // that the table has
  std::array<std::string, kOrigins> origin_;  // of the log
  bool origin_waits_ = false;
  std::unique_ptr<WriteBehindBuffer> rows_;  // none where nothing can be kept
};

}  // namespace kestrel::host
