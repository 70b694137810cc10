#include "platform/data/providers/sqlite/sqlite_connection.h"

#include <sqlite3.h>

#include <mutex>
#include <optional>
#include <utility>

#include "platform/base/text.h"
#include "platform/data/absent_values.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"
#include "platform/data/providers/sqlite/sqlite_recordset.h"
#include "platform/data/providers/sqlite/sqlite_statement.h"

namespace kestrel::sqlite {

namespace {

bool EndsWith(std::string_view text, std::string_view ending) {
  return text.size() > ending.size() && EqualsIgnoringCase(text.substr(text.size() - ending.size()), ending);
}

bool IsPlainPath(const ConnectionKeys& keys) {
  const std::string_view text = keys.Text();
  if (keys.Find("Provider") || keys.Find("Driver") || keys.Find("DSN")) return false;
  return EndsWith(text, ".sqlite") || EndsWith(text, ".sqlite3") || EndsWith(text, ".db");
}

}  // namespace

bool Serves(const ConnectionKeys& keys) {
  return EqualsIgnoringCase(keys.Get("Provider"), "SQLite") || IsPlainPath(keys);
}

ConnectionPtr Open(const ConnectionKeys& keys, std::string_view whole) {
  if (IsPlainPath(keys)) return std::make_shared<SqliteConnection>(std::string(whole), false, "");
  const std::string file = keys.Get("Data Source");
  // Without a name SQLite would open a scratch database that vanishes with everything written to it.
  if (file.empty()) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       std::string(DescriptionOf(ErrorNumber::kDatabase)) +
                           ": In der Verbindungszeichenfolge fehlt der Dateiname (Data Source).");
  }
  return std::make_shared<SqliteConnection>(file, EqualsIgnoringCase(keys.Get("Mode"), "ReadOnly"),
                                            keys.Get("LockWait"));
}

SqliteConnection::SqliteConnection(const std::string& file, bool read_only, std::string_view lock_wait) {
  SharedWaits()->SetLockLimit(lock_wait);
  database_ = std::make_shared<Database>(file, read_only, SharedCallMutex(), SharedWaits());
  database_->SetBeforeQuery([this] { attachments().BeforeQuery(); });
  auto& absent = attachments().Of<AbsentValues>(*this);
  absent.WillTell();
  database_->TellOfRows(&absent);
}

SqliteConnection::SqliteConnection(sqlite3* lent) {
  SharedWaits()->SetLockLimit("");
  database_ = std::make_shared<Database>(lent, SharedCallMutex(), SharedWaits());
  database_->SetBeforeQuery([this] { attachments().BeforeQuery(); });
}

ConnectionPtr Adopt(sqlite3* handle, const char* (*libversion)()) {
  const auto refuse = [](const char* why) {
    throw RuntimeError(ErrorNumber::kDatabase, std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + why);
  };
  if (libversion != &sqlite3_libversion) {
    refuse(
        "Das Programm hat ein eigenes SQLite; seine Verbindungen kann keines sonst benutzen. Öffnen Sie die "
        "Datei "
        "stattdessen mit ihrem Namen.");
  }
  if (sqlite3_get_autocommit(handle) == 0)
    refuse("In der Verbindung ist eine Transaktion offen. Beenden Sie sie zuvor.");
  return std::make_shared<SqliteConnection>(handle);
}

void RequireNoOwnersTransaction(const ObjectPtr& connection) {
  const auto sqlite = std::dynamic_pointer_cast<const SqliteConnection>(connection);
  if (sqlite == nullptr || !sqlite->InOwnersTransaction()) return;
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) +
                         ": In der Verbindung hat das Programm eine eigene Transaktion offen; mit ihr ginge "
                         "verloren, was der Import speichert. Beenden Sie sie vor dem Import.");
}

SqliteConnection::~SqliteConnection() {
  Trap([this] { Close(); }, [](const RuntimeError&) {});
}

Database& SqliteConnection::Open() const {
  if (database_ == nullptr) throw RuntimeError(ErrorNumber::kObjectClosed);
  return *database_;
}

std::int64_t SqliteConnection::Execute(std::string_view sql) {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  std::string memory;
  const StatementHandle statement = database.Compile(names_.Translate(sql, memory), false);
  return RunToEnd(database, statement.get());
}

RecordsetPtr SqliteConnection::OpenRecordset(std::string_view sql) {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  std::string memory;
  return std::make_shared<SqliteRecordset>(database_, database.Acquire(names_.Translate(sql, memory)));
}

std::unique_ptr<Statement> SqliteConnection::Prepare(std::string_view sql) {
  const std::lock_guard lock(Open().Mutex());
  std::string memory;
  return std::make_unique<SqliteStatement>(database_, names_.Translate(sql, memory));
}

void SqliteConnection::Begin() {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  attachments().Flush();
  database.Begin();
  began_ = true;
}

void SqliteConnection::Commit() {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  began_ = false;
  try {
    database.Commit();
  } catch (const RuntimeError&) {
    // Some failures have ended the transaction already.
    if (InTransaction()) database.Run("ROLLBACK");
    throw;
  }
}

void SqliteConnection::Rollback() {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  began_ = false;
  database.Run("ROLLBACK");
}

void SqliteConnection::MakeDurable() {
  Database& database = Open();
  const std::lock_guard lock(database.Mutex());
  database.Flush();
}

std::string SqliteConnection::StopReason() const {
  if (database_ == nullptr) return {};
  const std::lock_guard lock(database_->Mutex());
  return database_->StopReason();
}

bool SqliteConnection::InTransaction() const {
  if (database_ == nullptr) return false;
  const std::lock_guard lock(database_->Mutex());
  return sqlite3_get_autocommit(database_->Handle()) == 0;
}

std::vector<CatalogTable> SqliteConnection::Tables() {
  const RecordsetPtr rows =
      OpenRecordset("SELECT name, type FROM sqlite_schema WHERE type IN ('table', 'view') ORDER BY rowid");
  std::vector<CatalogTable> tables;
  for (; !rows->IsEof(); rows->MoveNext()) {
    const std::string_view name = rows->TextAt(0);
    std::string type = UpperCase(rows->TextAt(1));
    if (name.starts_with("sqlite_")) type = "SYSTEM TABLE";
    tables.push_back(CatalogTable{std::string(name), std::move(type)});
  }
  return tables;
}

std::vector<std::string> SqliteConnection::ColumnNames(std::string_view table) {
  const auto statement = Prepare("SELECT name FROM pragma_table_info(?)");
  statement->BindText(0, table);
  std::vector<std::string> names;
  for (const RecordsetPtr rows = statement->Open(); !rows->IsEof(); rows->MoveNext()) {
    names.emplace_back(rows->TextAt(0));
  }
  if (names.empty()) {
    throw RuntimeError(ErrorNumber::kDatabase, std::string(DescriptionOf(ErrorNumber::kDatabase)) +
                                                   ": Die Tabelle '" + std::string(table) + "' gibt es nicht.");
  }
  return names;
}

void SqliteConnection::Close() {
  if (database_ == nullptr) return;
  std::optional<RuntimeError> failure;
  {
    const std::lock_guard lock(database_->Mutex());
    if (!database_->IsLent()) database_->TellOfRows(nullptr);
  }
  Trap([this] { attachments().Drop(*this); }, [&](const RuntimeError& error) { failure = error; });
  {
    // Record sets that are still open keep the file open, but no lock on it.
    const std::lock_guard lock(database_->Mutex());
    database_->SetBeforeQuery(nullptr);
    if (InTransaction() && (began_ || !database_->IsLent())) {
      Trap([this] { database_->Run("ROLLBACK"); }, [](const RuntimeError&) {});
    }
    database_->DropKeptQueries();
  }
  database_.reset();
  if (failure) throw *failure;
}

}  // namespace kestrel::sqlite

namespace kestrel {

std::string SqliteFileOf(std::string_view connection_string) {
  const ConnectionKeys keys(connection_string);
  if (!sqlite::Serves(keys)) return {};
  return keys.Find("Provider") ? keys.Get("Data Source") : std::string(connection_string);
}

}  // namespace kestrel
