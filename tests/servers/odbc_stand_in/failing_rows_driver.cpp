// A stand-in for an ODBC driver that cannot read a value, which the drivers at hand never admit: one column
// "Menge" of whole numbers, five rows in blocks, of which the fourth has a value that does not fit. Answers
// what the component asks for and nothing else. A Server=schweigt never answers: it is given up after the time
// that the component has set, without waiting for it here. The rows of a table "Haengt" do not come until they are
// cancelled, those of "Taub" not even then but by StandInRelease. Those of "Zaeh" come when they are cancelled, which does
// not come back before StandInReleaseCancel.
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr SQLULEN kRows = 5;
constexpr SQLULEN kFailing = 4;  // from 1

// One statement at a time is all that is asked for.
struct Statement {
  SQLULEN block = 1;
  SQLULEN next = 1;  // the next row, from 1
  SQLULEN* fetched = nullptr;
  SQLUSMALLINT* states = nullptr;
  std::int64_t* cells = nullptr;
  SQLLEN* lengths = nullptr;
  SQLLEN failed_row = 0;  // in the last block, from 1
  bool hangs = false;
  bool is_deaf = false;
  bool is_tough = false;
  std::atomic<bool> is_cancelled = false;
};

std::atomic<int> statements = 0;

// Where somebody waits: a byte lets one go on. Never closed, as one may wait at the program's end.
class Gate {
 public:
  Gate() { is_open_ = ::pipe(ends_.data()) == 0; }
  void Wait() const {
    char byte = 0;
    while (is_open_ && ::read(ends_[0], &byte, 1) < 0) continue;
  }
  void LetGoOn() const {
    const char byte = 0;
    while (is_open_ && ::write(ends_[1], &byte, 1) < 0) continue;
  }

 private:
  std::array<int, 2> ends_{};
  bool is_open_ = false;
};

const Gate& Rows() {
  static const Gate gate;
  return gate;
}
const Gate& Cancels() {
  static const Gate gate;
  return gate;
}

SQLULEN login_seconds = 0;
bool given_up = false;

void CopyWide(SQLWCHAR* target, std::u16string_view text) {
  if (target == nullptr) return;
  for (const char16_t unit : text) *target++ = static_cast<SQLWCHAR>(unit);
  *target = 0;
}

}  // namespace

extern "C" {

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE, SQLHANDLE* handle) {
  static int other = 0;
  *handle = type == SQL_HANDLE_STMT ? static_cast<SQLHANDLE>(new Statement) : &other;
  if (type == SQL_HANDLE_STMT) ++statements;
  return SQL_SUCCESS;
}
SQLRETURN SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  if (type == SQL_HANDLE_STMT) {
    delete static_cast<Statement*>(handle);
    --statements;
  }
  return SQL_SUCCESS;
}
SQLRETURN SQLFreeStmt(SQLHSTMT, SQLUSMALLINT) { return SQL_SUCCESS; }
SQLRETURN SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
SQLRETURN SQLSetConnectAttrW(SQLHDBC, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  if (attribute == SQL_ATTR_LOGIN_TIMEOUT) login_seconds = reinterpret_cast<SQLULEN>(value);
  return SQL_SUCCESS;
}
SQLRETURN SQLDriverConnectW(SQLHDBC, SQLHWND, SQLWCHAR* text, SQLSMALLINT length, SQLWCHAR*, SQLSMALLINT,
                            SQLSMALLINT*, SQLUSMALLINT) {
  const std::u16string connection_string(text, text + length);
  given_up = connection_string.find(u"Server=schweigt") != std::u16string::npos;
  return given_up ? SQL_ERROR : SQL_SUCCESS;
}
SQLRETURN SQLDisconnect(SQLHDBC) { return SQL_SUCCESS; }
SQLRETURN SQLGetInfoW(SQLHDBC, SQLUSMALLINT, SQLPOINTER value, SQLSMALLINT, SQLSMALLINT*) {
  if (value != nullptr) CopyWide(static_cast<SQLWCHAR*>(value), u"x");
  return SQL_SUCCESS;
}
SQLRETURN SQLExecDirectW(SQLHSTMT handle, SQLWCHAR* text, SQLINTEGER length) {
  const std::u16string query(text, text + length);
  auto& statement = *static_cast<Statement*>(handle);
  statement.is_deaf = query.find(u"Taub") != std::u16string::npos;
  statement.is_tough = query.find(u"Zaeh") != std::u16string::npos;
  statement.hangs = statement.is_deaf || statement.is_tough || query.find(u"Haengt") != std::u16string::npos;
  return SQL_SUCCESS;
}
SQLRETURN SQLCancel(SQLHSTMT handle) {
  auto& statement = *static_cast<Statement*>(handle);
  statement.is_cancelled = true;
  if (!statement.is_deaf) Rows().LetGoOn();
  if (statement.is_tough) Cancels().Wait();
  return SQL_SUCCESS;
}
// For the test.
int StandInStatements() { return statements; }
void StandInRelease() { Rows().LetGoOn(); }
void StandInReleaseCancel() { Cancels().LetGoOn(); }
SQLRETURN SQLNumResultCols(SQLHSTMT, SQLSMALLINT* count) {
  *count = 1;
  return SQL_SUCCESS;
}
SQLRETURN SQLDescribeColW(SQLHSTMT, SQLUSMALLINT, SQLWCHAR* name, SQLSMALLINT, SQLSMALLINT* length,
                          SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable) {
  CopyWide(name, u"Menge");
  *length = 5;
  *type = SQL_INTEGER;
  *size = 10;
  *digits = 0;
  *nullable = SQL_NULLABLE;
  return SQL_SUCCESS;
}
SQLRETURN SQLColAttributeW(SQLHSTMT, SQLUSMALLINT, SQLUSMALLINT, SQLPOINTER text, SQLSMALLINT,
                           SQLSMALLINT* length, SQLLEN*) {
  if (text != nullptr) CopyWide(static_cast<SQLWCHAR*>(text), u"int");
  if (length != nullptr) *length = 6;
  return SQL_SUCCESS;
}
SQLRETURN SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  auto& statement = *static_cast<Statement*>(handle);
  if (attribute == SQL_ATTR_ROW_ARRAY_SIZE) statement.block = reinterpret_cast<SQLULEN>(value);
  if (attribute == SQL_ATTR_ROWS_FETCHED_PTR) statement.fetched = static_cast<SQLULEN*>(value);
  if (attribute == SQL_ATTR_ROW_STATUS_PTR) statement.states = static_cast<SQLUSMALLINT*>(value);
  return SQL_SUCCESS;
}
SQLRETURN SQLBindCol(SQLHSTMT handle, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER cells, SQLLEN, SQLLEN* lengths) {
  auto& statement = *static_cast<Statement*>(handle);
  statement.cells = static_cast<std::int64_t*>(cells);
  statement.lengths = lengths;
  return SQL_SUCCESS;
}
SQLRETURN SQLFetch(SQLHSTMT handle) {
  auto& statement = *static_cast<Statement*>(handle);
  if (statement.hangs) {
    Rows().Wait();
    if (!statement.is_deaf && !statement.is_tough) return SQL_ERROR;
    statement.hangs = !statement.is_tough;
  }
  const SQLULEN count = std::min(statement.block, kRows + 1 - statement.next);
  if (count == 0) return SQL_NO_DATA;
  statement.failed_row = 0;
  for (SQLULEN row = 0; row < count; ++row, ++statement.next) {
    const bool fails = statement.next == kFailing;
    if (statement.states != nullptr) statement.states[row] = fails ? SQL_ROW_ERROR : SQL_ROW_SUCCESS;
    if (fails) statement.failed_row = static_cast<SQLLEN>(row + 1);
    if (fails || statement.cells == nullptr) continue;
    statement.cells[row] = static_cast<std::int64_t>(statement.next * 10);
    statement.lengths[row] = sizeof(std::int64_t);
  }
  if (statement.fetched != nullptr) *statement.fetched = count;
  return statement.failed_row != 0 ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}
SQLRETURN SQLGetDiagRecW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLWCHAR* state,
                         SQLINTEGER* native, SQLWCHAR* message, SQLSMALLINT, SQLSMALLINT* length) {
  if (type == SQL_HANDLE_DBC && number == 1 && given_up) {
    std::u16string text = u"[Stand-in]Given up after ";
    text += static_cast<char16_t>(login_seconds < 10 ? u'0' + login_seconds : u'?');
    CopyWide(state, u"HYT00");
    CopyWide(message, text + u" s");
    if (native != nullptr) *native = 0;
    if (length != nullptr) *length = static_cast<SQLSMALLINT>(text.size() + 2);
    return SQL_SUCCESS;
  }
  if (type != SQL_HANDLE_STMT || number != 1) return SQL_NO_DATA;
  if (static_cast<Statement*>(handle)->is_cancelled) {
    CopyWide(state, u"HY008");
    CopyWide(message, u"[Stand-in]Operation canceled");
    if (native != nullptr) *native = 0;
    if (length != nullptr) *length = 28;
    return SQL_SUCCESS;
  }
  if (static_cast<Statement*>(handle)->failed_row == 0) return SQL_NO_DATA;
  CopyWide(state, u"22003");
  CopyWide(message, u"[Stand-in]Numeric value out of range");
  if (native != nullptr) *native = 0;
  if (length != nullptr) *length = 36;
  return SQL_SUCCESS;
}
SQLRETURN SQLGetDiagFieldW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                           SQLPOINTER value, SQLSMALLINT, SQLSMALLINT*) {
  if (type != SQL_HANDLE_STMT || number > 1) return SQL_NO_DATA;
  if (field == SQL_DIAG_ROW_NUMBER) *static_cast<SQLLEN*>(value) = static_cast<Statement*>(handle)->failed_row;
  if (field == SQL_DIAG_COLUMN_NUMBER) *static_cast<SQLINTEGER*>(value) = 1;
  return SQL_SUCCESS;
}

}  // extern "C"
