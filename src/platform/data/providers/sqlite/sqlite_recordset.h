// The rows of one query, read from the database as the caller moves on: opening costs only the first row.
//
// Going back (MoveFirst, GoTo) runs the query again. RecordCount runs it a second time beside this one and
// keeps the answer. Dates, truth values and numbers become text by the column's declared type and the
// value's own, see value_text.h.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/recordset.h"
#include "platform/data/providers/sqlite/database.h"

namespace kestrel::sqlite {

class SqliteRecordset final : public Recordset {
 public:
  // `query` is bound and not yet stepped; the first row is fetched here. Error 3000.
  SqliteRecordset(std::shared_ptr<Database> database, CompiledQueryPtr query);
  ~SqliteRecordset() override;

  std::size_t ColumnCount() const override { return Columns().size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return row_ == 0 && at_end_; }
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
  using Kind = QueryColumn::Kind;

  sqlite3_stmt* Handle() const { return query_->handle.get(); }
  // Fetches the next row; the position is the caller's business.
  void Step();
  void ReadColumns();
  const std::vector<QueryColumn>& Columns() const { return query_->columns; }
  // The column, with the errors for a wrong one and for no row.
  const QueryColumn& Current(std::size_t column) const;

  std::shared_ptr<Database> database_;
  CompiledQueryPtr query_;
  std::int64_t row_ = 0;
  bool at_end_ = false;
  std::optional<RuntimeError> broken_off_;
  mutable std::int64_t count_ = -1;
};

}  // namespace kestrel::sqlite
