#include "platform/data/providers/odbc/odbc_recordset.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/number.h"

namespace kestrel::odbc {

namespace {

constexpr std::size_t kMostRowsABlock = 200;
constexpr std::size_t kMostBytesABlock = 4 * 1024 * 1024;

// How many rows the query gives: as the server counts them, or by reading them where it cannot (two columns of
// one name, an order).
std::int64_t CountRows(const std::shared_ptr<LinkPool>& pool, std::string_view sql) {
  std::int64_t count = 0;
  const auto ask = [&] {
    const std::size_t end = sql.find_last_not_of("; \t\r\n");
    ActiveStatement statement(pool);
    // A comment may end the query.
    statement.Execute("SELECT COUNT(*) FROM (" + std::string(sql.substr(0, end + 1)) + "\n) AS kestrel_count");
    statement.Fetch();
    count = ParseWholeNumber(statement.TextOf(1)).value_or(0);
  };
  const auto read = [&](const RuntimeError&) {
    ActiveStatement statement(pool);
    statement.Execute(sql);
    for (count = 0; statement.Fetch();) ++count;
  };
  Trap(ask, read);
  return count;
}

}  // namespace

OdbcRecordset::OdbcRecordset(std::shared_ptr<LinkPool> pool, std::string_view sql)
    : pool_(std::move(pool)), sql_(sql) {
  Start();
}

void OdbcRecordset::Start() {
  at_end_ = true;
  statement_ = nullptr;
  statement_ = std::make_unique<ActiveStatement>(pool_);
  statement_->Execute(sql_);
  if (columns_.empty()) DescribeColumns();
  BindColumns();
  block_start_ = 0;
  fetched_ = 0;
  row_error_.reset();
  broken_off_.reset();
  FetchBlock();
}

void OdbcRecordset::DescribeColumns() {
  SQLSMALLINT count = 0;
  statement_->Check(SQLNumResultCols(statement_->handle(), &count));
  columns_.reserve(static_cast<std::size_t>(count));
  for (SQLSMALLINT number = 1; number <= count; ++number) {
    columns_.emplace_back(*statement_, static_cast<std::uint16_t>(number));
  }
}

void OdbcRecordset::BindColumns() {
  const auto first_long = std::find_if(columns_.begin(), columns_.end(),
                                       [](const ColumnBuffer& column) { return column.IsLong(); });
  // Every driver can read cells behind the last bound column piece by piece, and only with one row at a time.
  bound_ = static_cast<std::size_t>(first_long - columns_.begin());
  std::size_t row_size = 1;
  for (std::size_t i = 0; i < bound_; ++i) row_size += columns_[i].CellSize();
  block_rows_ =
      bound_ < columns_.size() ? 1 : std::clamp<std::size_t>(kMostBytesABlock / row_size, 1, kMostRowsABlock);
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(block_rows_), 0);
  static_assert(sizeof(SQLULEN) == sizeof(fetched_));
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROWS_FETCHED_PTR, &fetched_, 0);
  static_assert(sizeof(SQLUSMALLINT) == sizeof(row_states_[0]));
  row_states_.assign(block_rows_, SQL_ROW_SUCCESS);
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROW_STATUS_PTR, row_states_.data(), 0);
  for (std::size_t i = 0; i < bound_; ++i) columns_[i].Bind(*statement_, block_rows_);
}

void OdbcRecordset::FetchBlock() {
  block_start_ += static_cast<std::int64_t>(fetched_);
  fetched_ = 0;
  row_ = 0;
  // Until there is a row; no failure leaves the set on none.
  at_end_ = true;
  if (row_error_) throw *row_error_;
  if (!statement_->Fetch()) {
    fetched_ = 0;
    count_ = block_start_;
    statement_ = nullptr;
    return;
  }
  CutAtFailedRow();
  if (fetched_ == 0 && row_error_) throw *row_error_;
  for (std::size_t i = bound_; i < columns_.size(); ++i) columns_[i].Read(*statement_);
  at_end_ = false;
  const bool cut = std::any_of(columns_.begin(), columns_.begin() + static_cast<std::ptrdiff_t>(bound_),
                               [&](const ColumnBuffer& column) { return column.WasCut(fetched_); });
  if (cut) Widen();
}

void OdbcRecordset::CutAtFailedRow() {
  // Without remarks every row is well; drivers differ in what they write into the states then.
  if (!statement_->HasRemarks()) return;
  const auto end = row_states_.begin() + static_cast<std::ptrdiff_t>(std::min(fetched_, row_states_.size()));
  const auto failed = std::find(row_states_.begin(), end, SQL_ROW_ERROR);
  if (failed == end) return;
  const ActiveStatement::Cell cell = statement_->FailedCell();
  const std::int64_t row = cell.row > 0 ? cell.row : failed - row_states_.begin() + 1;
  std::string where = "Zeile " + std::to_string(block_start_ + row);
  if (cell.column > 0 && static_cast<std::size_t>(cell.column) <= columns_.size()) {
    where.append(", Spalte '").append(columns_[static_cast<std::size_t>(cell.column) - 1].Name()).append("'");
  }
  Trap([&] { statement_->Fail(where + ": Der Wert kann nicht gelesen werden. "); },
       [&](const RuntimeError& error) { row_error_ = error; });
  fetched_ = static_cast<std::size_t>(failed - row_states_.begin());
}

void OdbcRecordset::Widen() {
  for (std::size_t i = 0; i < bound_; ++i) {
    if (columns_[i].WasCut(fetched_)) columns_[i].MakeLong();
  }
  const std::int64_t row = Position();
  Start();
  while (!at_end_ && Position() < row) MoveNext();
}

std::string_view OdbcRecordset::ColumnName(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return columns_[column].Name();
}

void OdbcRecordset::MoveFirst() {
  if (block_start_ == 0 && fetched_ > 0) {
    row_ = 0;
    at_end_ = false;
  } else if (count_ != 0) {
    Start();
  }
}

void OdbcRecordset::MoveNext() {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (++row_ < fetched_) return;
  if (statement_ != nullptr) {
    Trap([this] { FetchBlock(); },
         [this](const RuntimeError& reason) {
           at_end_ = true;
           fetched_ = 0;
           statement_ = nullptr;
           broken_off_ = reason;
           throw reason;
         });
  } else {
    at_end_ = true;
  }
}

std::int64_t OdbcRecordset::RecordCount() const {
  if (count_ < 0) count_ = CountRows(pool_, sql_);
  return count_;
}

std::int64_t OdbcRecordset::Bookmark() const {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return Position();
}

void OdbcRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (at_end_ || bookmark < Position()) MoveFirst();
  while (!at_end_ && Position() < bookmark) MoveNext();
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
}

const ColumnBuffer& OdbcRecordset::Current(std::size_t column) const {
  if (column >= columns_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return columns_[column];
}

bool OdbcRecordset::IsNull(std::size_t column) const { return Current(column).IsNull(row_); }
std::string_view OdbcRecordset::TextAt(std::size_t column) const { return Current(column).TextAt(row_); }
Value OdbcRecordset::ValueAt(std::size_t column) const { return Current(column).ValueAt(row_); }

}  // namespace kestrel::odbc
