#include "platform/data/providers/odbc/link.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <array>
#include <utility>

#include "kestrel/runtime_error.h"
#include "kestrel/waits.h"
#include "platform/base/text.h"
#include "platform/data/providers/odbc/utf16.h"

namespace kestrel::odbc {

namespace {

constexpr std::uintptr_t kLoginSeconds = 5;
// Shorter ones may well be part of a message's own words.
constexpr std::size_t kShortestHiddenPassword = 3;

SQLWCHAR* Wide(std::u16string& text) { return reinterpret_cast<SQLWCHAR*>(text.data()); }

SQLPOINTER AsPointer(std::uintptr_t number) { return reinterpret_cast<SQLPOINTER>(number); }

// A message without the names of the layers in front of it: "[FreeTDS][SQL Server]Login failed".
std::string_view WithoutLayers(std::string_view message) {
  while (!message.empty() && message.front() == '[') {
    const std::size_t end = message.find(']');
    if (end == std::string_view::npos) break;
    message.remove_prefix(end + 1);
  }
  return TrimBlanks(message);
}

// After a time limit, too, as answers that come late would be taken for those to the next question.
bool TellsOfBrokenConnection(std::string_view state) { return state.starts_with("08") || state == "HYT00"; }

}  // namespace

OwnedHandle::OwnedHandle(std::int16_t type, Handle parent) : type_(type) {
  SQLAllocHandle(type, parent, &handle_);
  if (handle_ == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  // Nothing else may be done with an environment before.
  if (type == SQL_HANDLE_ENV) SQLSetEnvAttr(handle_, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC3), 0);
}

OwnedHandle::~OwnedHandle() {
  if (type_ == SQL_HANDLE_DBC) SQLDisconnect(handle_);
  SQLFreeHandle(type_, handle_);
}

Link::Link(std::shared_ptr<const Target> target)
    : target_(std::move(target)),
      environment_(SQL_HANDLE_ENV, SQL_NULL_HANDLE),
      connection_(SQL_HANDLE_DBC, environment_.get()) {
  SQLSetConnectAttr(Connection(), SQL_ATTR_LOGIN_TIMEOUT, AsPointer(kLoginSeconds), SQL_IS_UINTEGER);
  // The wide call, as narrow ones break passwords beyond ASCII.
  std::u16string text = ToUtf16(target_->connection_string);
  const SQLRETURN result =
      SQLDriverConnectW(Connection(), nullptr, Wide(text), static_cast<SQLSMALLINT>(text.size()), nullptr, 0,
                        nullptr, SQL_DRIVER_NOPROMPT);
  if (!SQL_SUCCEEDED(result)) Fail(SQL_HANDLE_DBC, Connection());
}

std::string Link::DatabaseName() const {
  std::array<SQLCHAR, 128> name{};
  SQLSMALLINT length = 0;
  if (!SQL_SUCCEEDED(SQLGetInfo(Connection(), SQL_DBMS_NAME, name.data(), static_cast<SQLSMALLINT>(name.size()),
                                &length))) {
    return {};
  }
  return reinterpret_cast<const char*>(name.data());
}

void Link::Fail(std::int16_t handle_type, Handle handle, std::string_view where) {
  std::string reasons;
  std::array<SQLWCHAR, 6> state{};
  std::array<SQLWCHAR, 1024> message{};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  for (SQLSMALLINT record = 1;
       SQL_SUCCEEDED(SQLGetDiagRecW(handle_type, handle, record, state.data(), &native, message.data(),
                                    static_cast<SQLSMALLINT>(message.size()), &length));
       ++record) {
    std::string state_text;
    AppendFromUtf16(state_text, {reinterpret_cast<const char16_t*>(state.data()), 5});
    if (TellsOfBrokenConnection(state_text)) usable_ = false;
    const auto units =
        std::min<std::size_t>(static_cast<std::size_t>(std::max<int>(length, 0)), message.size() - 1);
    std::string text;
    AppendFromUtf16(text, {reinterpret_cast<const char16_t*>(message.data()), units});
    const std::string_view reason = WithoutLayers(text);
    if (reasons.find(reason) != std::string::npos) continue;
    if (!reasons.empty()) reasons += "; ";
    reasons += reason;
  }
  if (reasons.empty()) reasons = "Der ODBC-Treiber nennt keinen Grund";
  if (target_->password.size() >= kShortestHiddenPassword)
    reasons = ReplaceAll(reasons, target_->password, "***");
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(where) + reasons);
}

std::unique_ptr<Link> LinkPool::Take() {
  {
    const std::lock_guard lock(mutex_);
    if (!at_rest_.empty()) {
      std::unique_ptr<Link> link = std::move(at_rest_.back());
      at_rest_.pop_back();
      return link;
    }
  }
  return std::make_unique<Link>(target_);
}

void LinkPool::Return(std::unique_ptr<Link> link) {
  const std::lock_guard lock(mutex_);
  if (!closed_ && link->IsUsable()) at_rest_.push_back(std::move(link));
}

void LinkPool::Close() {
  std::vector<std::unique_ptr<Link>> ended;
  const std::lock_guard lock(mutex_);
  closed_ = true;
  at_rest_.swap(ended);
}

ActiveStatement::ActiveStatement(std::shared_ptr<LinkPool> pool)
    : pool_(std::move(pool)), link_(pool_->Take()) {
  statement_.emplace(std::int16_t{SQL_HANDLE_STMT}, link_->Connection());
  // Whole seconds, and 0 would be no limit. A driver that knows none refuses it, and waits.
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(Waits().AnswerLimit()).count();
  SQLSetStmtAttr(handle(), SQL_ATTR_QUERY_TIMEOUT,
                 AsPointer(static_cast<std::uintptr_t>(std::max<std::int64_t>(seconds, 1))), SQL_IS_UINTEGER);
}

ActiveStatement::~ActiveStatement() {
  statement_.reset();
  pool_->Return(std::move(link_));
}

void ActiveStatement::Check(std::int16_t result) const {
  if (!SQL_SUCCEEDED(result)) link_->Fail(SQL_HANDLE_STMT, handle());
}

void ActiveStatement::Execute(std::string_view sql) {
  std::u16string text = ToUtf16(sql);
  const SQLRETURN result = SQLExecDirectW(handle(), Wide(text), static_cast<SQLINTEGER>(text.size()));
  if (result != SQL_NO_DATA) Check(result);
}

bool ActiveStatement::Fetch() {
  const SQLRETURN result = SQLFetch(handle());
  if (result == SQL_NO_DATA) return false;
  Check(result);
  has_remarks_ = result == SQL_SUCCESS_WITH_INFO;
  return true;
}

ActiveStatement::Cell ActiveStatement::FailedCell() const {
  // The warnings of the same fetch (SQLSTATE 01...) are none.
  std::array<SQLWCHAR, 6> state{};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  for (SQLSMALLINT record = 1; SQL_SUCCEEDED(
           SQLGetDiagRecW(SQL_HANDLE_STMT, handle(), record, state.data(), &native, nullptr, 0, &length));
       ++record) {
    if (state[0] == '0' && state[1] == '1') continue;
    SQLLEN row = 0;
    SQLINTEGER column = 0;
    SQLGetDiagField(SQL_HANDLE_STMT, handle(), record, SQL_DIAG_ROW_NUMBER, &row, 0, nullptr);
    SQLGetDiagField(SQL_HANDLE_STMT, handle(), record, SQL_DIAG_COLUMN_NUMBER, &column, 0, nullptr);
    // Negative: unknown.
    return {std::max<std::int64_t>(row, 0), std::max<std::int64_t>(column, 0)};
  }
  return {};
}

void ActiveStatement::Fail(std::string_view where) const { link_->Fail(SQL_HANDLE_STMT, handle(), where); }

std::string ActiveStatement::TextOf(std::uint16_t column) {
  std::string text;
  std::u16string units;
  std::array<char16_t, 2048> piece{};
  while (true) {
    SQLLEN length = 0;
    const SQLRETURN result =
        SQLGetData(handle(), column, SQL_C_WCHAR, piece.data(), static_cast<SQLLEN>(sizeof(piece)), &length);
    if (result == SQL_NO_DATA) break;
    Check(result);
    if (length == SQL_NULL_DATA) break;
    const std::size_t room = piece.size() - 1;
    const bool more = length == SQL_NO_TOTAL || static_cast<std::size_t>(length) > room * sizeof(char16_t);
    units.append(piece.data(), more ? room : static_cast<std::size_t>(length) / sizeof(char16_t));
    if (!more) break;
  }
  // At once, as a pair of surrogates may lie across two pieces.
  AppendFromUtf16(text, units);
  return text;
}

}  // namespace kestrel::odbc
