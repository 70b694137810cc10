// The rows of one query, read off the wire one by one as the caller moves on.
//
// 1. While rows are on the wire the session serves nobody else. When it is needed, or RecordCount asked for,
//    the rest of the rows is set aside (see row_store.h), so memory stays small whatever the query gives.
// 2. Rows set aside while the set stood at its first row can be walked again; otherwise going back runs the
//    query again with the same values.
// 3. The current row belongs to the set: only its own moves and its end free it. Another thread's statement may park the
//    set at any time, under the session's mutex, which leaves the current row and the position as they are. So the
//    values of a row are read without that mutex.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"
#include "platform/data/providers/postgres/row_store.h"
#include "platform/data/providers/postgres/session.h"

namespace kestrel::postgres {

class PostgresRecordset final : public Recordset, private AnswerReader {
 public:
  // Runs the query and takes its first row. `sql` has its parameters numbered. Error 3000.
  PostgresRecordset(std::shared_ptr<Session> session, std::string sql, ParameterValues values);
  ~PostgresRecordset() override;

  std::size_t ColumnCount() const override { return columns_.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return row_ == 0 && at_end_; }
  bool IsEof() const override { return at_end_; }
  void MoveFirst() override;
  void MoveNext() override;
  // Where not all rows could be set aside: those that were.
  std::int64_t RecordCount() const override;
  std::optional<RuntimeError> BrokenOff() const override { return at_end_ ? broken_off_ : std::nullopt; }
  std::int64_t Bookmark() const override;
  void GoTo(std::int64_t bookmark) override;
  bool IsNull(std::size_t column) const override;
  std::string_view TextAt(std::size_t column) const override;
  Value ValueAt(std::size_t column) const override;

 private:
  enum class Kind { kText, kInteger, kReal, kDecimal, kTruth, kMoment, kTime, kBytes };
  struct Column {
    std::string name;
    Kind kind = Kind::kText;
    // The text of a value that the server writes in another way.
    mutable std::string text;
  };

  static Kind KindOf(unsigned type);
  void AppendToStore(const pg_result& answer, RowStore::Row& row);
  void Park() override;
  void Start();
  // Takes the next row off the wire, or the end.
  void FetchRow();
  [[noreturn]] void BreakOff(const RuntimeError& reason);
  void ReadColumns();
  const Column& Current(std::size_t column) const;
  // The value as the server wrote it, or none for null; of a column that exists, on a row.
  RowStore::Cell Raw(std::size_t column) const;

  std::shared_ptr<Session> session_;
  std::string sql_;
  ParameterValues values_;
  std::vector<Column> columns_;
  std::int64_t row_ = 0;
  bool at_end_ = false;
  std::int64_t count_ = -1;

  // The current row is one of these two.
  ResultPtr wire_row_;
  const RowStore::Row* stored_row_ = nullptr;

  std::optional<RowStore> store_;
  std::int64_t store_begins_at_ = 0;  // the number of its first row, which was the current one then
  // What went wrong while rows were set aside; told behind the last of them.
  std::optional<RuntimeError> parking_error_;
  std::optional<RuntimeError> broken_off_;
};

}  // namespace kestrel::postgres
