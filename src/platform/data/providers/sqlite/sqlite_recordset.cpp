#include "platform/data/providers/sqlite/sqlite_recordset.h"

#include <sqlite3.h>

#include <mutex>
#include <utility>

#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"

namespace kestrel::sqlite {

namespace {

// In UTF-8, whatever a database keeps its texts in.
std::string_view Utf8At(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  return text == nullptr ? std::string_view() : std::string_view(text, size);
}

std::string_view BytesAt(sqlite3_stmt* statement, int column) {
  const void* bytes = sqlite3_column_blob(statement, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  return bytes == nullptr ? std::string_view() : std::string_view(static_cast<const char*>(bytes), size);
}

bool IsOneOf(const char* type, std::initializer_list<std::string_view> names) {
  if (type == nullptr) return false;
  for (const std::string_view name : names) {
    if (EqualsIgnoringCase(type, name)) return true;
  }
  return false;
}

}  // namespace

SqliteRecordset::SqliteRecordset(std::shared_ptr<Database> database, CompiledQueryPtr query)
    : database_(std::move(database)), query_(std::move(query)) {
  Step();
  ReadColumns();
}

SqliteRecordset::~SqliteRecordset() {
  const std::lock_guard lock(database_->Mutex());
  database_->Release(std::move(query_));
}

void SqliteRecordset::ReadColumns() {
  const int compiled_anew = sqlite3_stmt_status(Handle(), SQLITE_STMTSTATUS_REPREPARE, /*resetFlg=*/0);
  if (query_->compiled_anew == compiled_anew) return;
  std::vector<QueryColumn>& columns = query_->columns;
  const int count = sqlite3_column_count(Handle());
  columns.assign(static_cast<std::size_t>(count), {});
  for (int i = 0; i < count; ++i) {
    QueryColumn& column = columns[static_cast<std::size_t>(i)];
    const char* name = sqlite3_column_name(Handle(), i);
    if (name == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
    column.name = name;
    const char* type = sqlite3_column_decltype(Handle(), i);
    if (IsOneOf(type, {"DATE", "DATETIME", "TIMESTAMP"})) column.kind = Kind::kDate;
    if (IsOneOf(type, {"BOOLEAN", "BOOL", "BIT"})) column.kind = Kind::kTruth;
  }
  query_->compiled_anew = compiled_anew;
}

void SqliteRecordset::Step() {
  const std::lock_guard lock(database_->Mutex());
  switch (row_ == 0 ? database_->FirstStep(Handle()) : sqlite3_step(Handle())) {
    case SQLITE_ROW: at_end_ = false; return;
    case SQLITE_DONE:
      at_end_ = true;
      // Gives up the read lock at once.
      sqlite3_reset(Handle());
      return;
    default: at_end_ = true; database_->Fail();
  }
}

std::string_view SqliteRecordset::ColumnName(std::size_t column) const {
  if (column >= Columns().size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return Columns()[column].name;
}

void SqliteRecordset::MoveFirst() {
  if (row_ == 0) return;
  const std::lock_guard lock(database_->Mutex());
  sqlite3_reset(Handle());
  row_ = 0;
  broken_off_.reset();
  Step();
}

void SqliteRecordset::MoveNext() {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  ++row_;
  Trap([this] { Step(); },
       [this](const RuntimeError& reason) {
         broken_off_ = reason;
         throw reason;
       });
}

std::int64_t SqliteRecordset::RecordCount() const {
  if (count_ >= 0) return count_;
  if (at_end_) return count_ = row_;
  const std::lock_guard lock(database_->Mutex());
  // Beside this one, with the same values bound.
  const StatementHandle counter = database_->Compile(sqlite3_sql(Handle()), false);
  sqlite3_transfer_bindings(Handle(), counter.get());
  std::int64_t count = 0;
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(counter.get())) == SQLITE_ROW) ++count;
  if (result != SQLITE_DONE) database_->Fail();
  return count_ = count;
}

std::int64_t SqliteRecordset::Bookmark() const {
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return row_;
}

void SqliteRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (bookmark < row_) MoveFirst();
  while (row_ < bookmark) MoveNext();
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
}

const QueryColumn& SqliteRecordset::Current(std::size_t column) const {
  if (column >= Columns().size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (at_end_) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return Columns()[column];
}

bool SqliteRecordset::IsNull(std::size_t column) const {
  Current(column);
  const std::lock_guard lock(database_->Mutex());
  return sqlite3_column_type(Handle(), static_cast<int>(column)) == SQLITE_NULL;
}

std::string_view SqliteRecordset::TextAt(std::size_t column) const {
  const QueryColumn& shape = Current(column);
  const int index = static_cast<int>(column);
  const std::lock_guard lock(database_->Mutex());
  switch (sqlite3_column_type(Handle(), index)) {
    case SQLITE_TEXT: {
      const std::string_view text = Utf8At(Handle(), index);
      if (shape.kind != Kind::kDate) return text;
      shape.text = IsoDateText(text);
      return shape.text;
    }
    case SQLITE_INTEGER: {
      const std::int64_t number = sqlite3_column_int64(Handle(), index);
      shape.text = shape.kind == Kind::kTruth ? BoolText(number != 0) : std::to_string(number);
      return shape.text;
    }
    case SQLITE_FLOAT: shape.text = FormatNumber(sqlite3_column_double(Handle(), index)); return shape.text;
    case SQLITE_BLOB: shape.text = BytesText(BytesAt(Handle(), index)); return shape.text;
    default: return {};
  }
}

Value SqliteRecordset::ValueAt(std::size_t column) const {
  const QueryColumn& shape = Current(column);
  const int index = static_cast<int>(column);
  const std::lock_guard lock(database_->Mutex());
  switch (sqlite3_column_type(Handle(), index)) {
    case SQLITE_NULL: return kNull;
    case SQLITE_INTEGER: {
      const std::int64_t number = sqlite3_column_int64(Handle(), index);
      return shape.kind == Kind::kTruth ? Value(number != 0) : Value(number);
    }
    case SQLITE_FLOAT: return Value(sqlite3_column_double(Handle(), index));
    default: return Value(TextAt(column));
  }
}

}  // namespace kestrel::sqlite
