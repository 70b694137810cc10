#pragma once

#include <memory>
#include <string>

#include "kestrel/connection.h"
#include "platform/data/providers/sqlite/database.h"
#include "platform/data/table_names.h"

namespace kestrel::sqlite {

class SqliteConnection final : public Connection {
 public:
  // `lock_wait`: see Waits::SetLockLimit. Error 3000 where the file cannot be opened.
  SqliteConnection(const std::string& file, bool read_only, std::string_view lock_wait);
  // Of a handle that stays its owner's. Rows that are stored are not told of, as the owner's own hook may be set.
  explicit SqliteConnection(sqlite3* lent);
  ~SqliteConnection() override;

  std::int64_t Execute(std::string_view sql) override;
  RecordsetPtr OpenRecordset(std::string_view sql) override;
  std::unique_ptr<Statement> Prepare(std::string_view sql) override;
  Capabilities capabilities() const override {
    return {.dialect = Dialect::kSqlite, .atomic_statements = true, .announces_queries = true};
  }
  // A transaction takes the write lock at once, so that it cannot fail half way for want of it. Begin and
  // Commit wait for it, see Connection::WatchWaits.
  void Begin() override;
  void Commit() override;
  void Rollback() override;
  bool InTransaction() const override;
  // Of a lent handle: one that its owner began, who may take back what is stored in it.
  bool InOwnersTransaction() const { return IsOpen() && database_->IsLent() && !began_ && InTransaction(); }
  void MakeDurable() override;
  std::string StopReason() const override;
  std::vector<CatalogTable> Tables() override;
  std::vector<std::string> ColumnNames(std::string_view table) override;
  // An open transaction is rolled back, of a lent handle one that began here.
  void Close() override;
  bool IsOpen() const override { return database_ != nullptr; }

 private:
  // Error 3704 when closed.
  Database& Open() const;

  std::shared_ptr<Database> database_;
  bool began_ = false;
  const TableNames& names_ = attachments().Of<TableNames>(*this);  // as long as it is open
};

}  // namespace kestrel::sqlite
