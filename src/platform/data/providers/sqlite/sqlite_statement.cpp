#include "platform/data/providers/sqlite/sqlite_statement.h"

#include <sqlite3.h>

#include <mutex>
#include <utility>

#include "platform/data/providers/sqlite/sqlite_recordset.h"

namespace kestrel::sqlite {

namespace {

// `keep`: SQLITE_STATIC where the texts outlive the use of the statement, else SQLITE_TRANSIENT.
template <class Values>
void BindAll(const Database& database, sqlite3_stmt* statement, const Values& values,
             sqlite3_destructor_type keep) {
  int index = 0;
  for (const auto& value : values) {
    ++index;
    int result = SQLITE_OK;
    if (const auto* text = std::get_if<std::string_view>(&value)) {
      // A null pointer would bind null, not the empty text.
      const char* start = text->data() == nullptr ? "" : text->data();
      result = sqlite3_bind_text64(statement, index, start, text->size(), keep, SQLITE_UTF8);
    } else if (const auto* number = std::get_if<std::int64_t>(&value)) {
      result = sqlite3_bind_int64(statement, index, *number);
    } else if (const auto* real = std::get_if<double>(&value)) {
      result = sqlite3_bind_double(statement, index, *real);
    } else {
      result = sqlite3_bind_null(statement, index);
    }
    if (result != SQLITE_OK) database.Fail();
  }
}

}  // namespace

std::int64_t RunToEnd(Database& database, sqlite3_stmt* statement) {
  sqlite3* handle = database.Handle();
  const std::int64_t before = sqlite3_total_changes64(handle);
  int result = database.FirstStep(statement);
  while (result == SQLITE_ROW) result = sqlite3_step(statement);
  // Statements that change no rows leave the last count of changes as it was.
  const std::int64_t changed = sqlite3_total_changes64(handle) == before ? 0 : sqlite3_changes64(handle);
  if (sqlite3_reset(statement) != SQLITE_OK || result != SQLITE_DONE) database.Fail();
  return changed;
}

SqliteStatement::SqliteStatement(std::shared_ptr<Database> database, std::string_view sql)
    : database_(std::move(database)), sql_(sql) {
  handle_ = database_->Compile(sql, true);
  SetParameterCount(static_cast<std::size_t>(sqlite3_bind_parameter_count(handle_.get())));
}

SqliteStatement::~SqliteStatement() {
  const std::lock_guard lock(database_->Mutex());
  handle_.reset();
}

std::int64_t SqliteStatement::Execute() {
  const std::lock_guard lock(database_->Mutex());
  BindAll(*database_, handle_.get(), BoundValues(), SQLITE_STATIC);
  return RunToEnd(*database_, handle_.get());
}

RecordsetPtr SqliteStatement::Open() {
  const std::lock_guard lock(database_->Mutex());
  CompiledQueryPtr query = database_->AcquireExactly(sql_);
  BindAll(*database_, query->handle.get(), BoundValues(), SQLITE_TRANSIENT);
  return std::make_shared<SqliteRecordset>(database_, std::move(query));
}

}  // namespace kestrel::sqlite
