#include "platform/data/providers/odbc/odbc_reading.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/base/number.h"

namespace kestrel::odbc {

namespace {

constexpr std::size_t kMostRowsABlock = 200;
constexpr std::size_t kMostBytesABlock = 4 * 1024 * 1024;
constexpr std::size_t kMostLongRows = 32;
constexpr std::chrono::milliseconds kLongestForRows{20};

}  // namespace

void OdbcReading::SetStatement(std::shared_ptr<ActiveStatement> statement) {
  // The one before ends outside of the lock, as a driver may wait for that, too.
  SetCancelled(statement);
  statement_ = std::move(statement);
}

std::shared_ptr<ActiveStatement> OdbcReading::SetCancelled(std::shared_ptr<ActiveStatement> statement) {
  const std::lock_guard lock(cancelled_mutex_);
  return std::exchange(cancelled_, std::move(statement));
}

void OdbcReading::Cancel() {
  std::shared_ptr<ActiveStatement> statement;
  {
    const std::lock_guard lock(cancelled_mutex_);
    statement = cancelled_;
  }
  if (statement != nullptr) SQLCancel(statement->handle());
}

void OdbcReading::End() { SetStatement(nullptr); }

void OdbcReading::Start(bool many) {
  SetStatement(nullptr);
  SetStatement(std::make_shared<ActiveStatement>(pool_));
  statement_->Execute(sql_);
  if (columns.empty()) DescribeColumns();
  BindColumns();
  const bool has_long = bound_ < columns.size();
  rows_.clear();
  if (many && has_long) {
    bound_ = 0;
    SQLFreeStmt(statement_->handle(), SQL_UNBIND);
    rows_.assign(kMostLongRows, columns);
  }
  has_ended_ = false;
  fetched = 0;
  row_error.reset();
}

void OdbcReading::DescribeColumns() {
  SQLSMALLINT count = 0;
  statement_->Check(SQLNumResultCols(statement_->handle(), &count));
  columns.reserve(static_cast<std::size_t>(count));
  for (SQLSMALLINT number = 1; number <= count; ++number) {
    columns.emplace_back(*statement_, static_cast<std::uint16_t>(number));
  }
}

void OdbcReading::BindColumns() {
  const auto first_long =
      std::find_if(columns.begin(), columns.end(), [](const ColumnBuffer& column) { return column.IsLong(); });
  // Every driver can read cells behind the last bound column piece by piece, and only with one row at a time.
  bound_ = static_cast<std::size_t>(first_long - columns.begin());
  std::size_t row_size = 1;
  for (std::size_t i = 0; i < bound_; ++i) row_size += columns[i].CellSize();
  block_rows_ =
      bound_ < columns.size() ? 1 : std::clamp<std::size_t>(kMostBytesABlock / row_size, 1, kMostRowsABlock);
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(block_rows_), 0);
  static_assert(sizeof(SQLULEN) == sizeof(fetched));
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
  static_assert(sizeof(SQLUSMALLINT) == sizeof(row_states_[0]));
  row_states_.assign(block_rows_, SQL_ROW_SUCCESS);
  SQLSetStmtAttr(statement_->handle(), SQL_ATTR_ROW_STATUS_PTR, row_states_.data(), 0);
  for (std::size_t i = 0; i < bound_; ++i) columns[i].Bind(*statement_, block_rows_);
}

// Each row may take a call of its own, as the driver has them.
bool OdbcReading::FetchRows(std::int64_t first) {
  if (has_ended_) {
    End();
    return false;
  }
  const auto start = std::chrono::steady_clock::now();
  std::size_t count = 0;
  std::size_t room = 0;
  const auto fetch = [&] {
    while (count < rows_.size() && room < kMostBytesABlock &&
           std::chrono::steady_clock::now() - start < kLongestForRows) {
      has_ended_ = !statement_->Fetch();
      if (!has_ended_) CutAtFailedRow(first + static_cast<std::int64_t>(count));
      if (has_ended_ || row_error) return;
      for (ColumnBuffer& column : rows_[count]) {
        column.ForgetLargeCell();
        column.Read(*statement_);
        room += column.Room();
      }
      ++count;
    }
  };
  Trap(fetch, [&](const RuntimeError& error) {
    if (count == 0) throw RuntimeError(error);
    row_error = error;
  });
  fetched = count;
  if (count == 0 && row_error) throw RuntimeError(*row_error);
  if (count == 0) End();
  return count != 0;
}

bool OdbcReading::Fetch(std::int64_t first) {
  if (!rows_.empty()) return FetchRows(first);
  fetched = 0;
  if (!statement_->Fetch()) {
    fetched = 0;
    End();
    return false;
  }
  CutAtFailedRow(first);
  if (fetched == 0 && row_error) throw RuntimeError(*row_error);
  for (std::size_t i = bound_; i < columns.size(); ++i) columns[i].Read(*statement_);
  return true;
}

void OdbcReading::CutAtFailedRow(std::int64_t first) {
  // Without remarks every row is well; drivers differ in what they write into the states then.
  if (!statement_->HasRemarks()) return;
  const auto end = row_states_.begin() + static_cast<std::ptrdiff_t>(std::min(fetched, row_states_.size()));
  const auto failed = std::find(row_states_.begin(), end, SQL_ROW_ERROR);
  if (failed == end) return;
  const ActiveStatement::Cell cell = statement_->FailedCell();
  const std::int64_t row = cell.row > 0 ? cell.row : failed - row_states_.begin() + 1;
  std::string where = "Zeile " + std::to_string(first + row);
  if (cell.column > 0 && static_cast<std::size_t>(cell.column) <= columns.size()) {
    where.append(", Spalte '").append(columns[static_cast<std::size_t>(cell.column) - 1].Name()).append("'");
  }
  Trap([&] { statement_->Fail(where + ": Der Wert kann nicht gelesen werden. "); },
       [&](const RuntimeError& error) { row_error = error; });
  fetched = static_cast<std::size_t>(failed - row_states_.begin());
}

std::int64_t OdbcReading::CountRows() {
  const auto with_statement = [&](const auto& step) {
    const auto statement = std::make_shared<ActiveStatement>(pool_);
    const auto before = SetCancelled(statement);
    Trap([&] { step(*statement); },
         [&](const RuntimeError& error) {
           SetCancelled(before);
           throw RuntimeError(error);
         });
    SetCancelled(before);
  };
  std::int64_t count = 0;
  const auto ask = [&](ActiveStatement& statement) {
    const std::size_t end = sql_.find_last_not_of("; \t\r\n");
    // A comment may end the query.
    statement.Execute("SELECT COUNT(*) FROM (" + sql_.substr(0, end + 1) + "\n) AS kestrel_count");
    statement.Fetch();
    count = ParseWholeNumber(statement.TextOf(1)).value_or(0);
  };
  const auto read = [&](ActiveStatement& statement) {
    statement.Execute(sql_);
    for (count = 0; statement.Fetch();) ++count;
  };
  Trap([&] { with_statement(ask); }, [&](const RuntimeError&) { with_statement(read); });
  return count;
}

}  // namespace kestrel::odbc
