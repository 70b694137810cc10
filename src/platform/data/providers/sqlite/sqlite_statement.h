#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/data/bound_statement.h"
#include "platform/data/providers/sqlite/database.h"

namespace kestrel::sqlite {

class SqliteStatement final : public BoundStatement {
 public:
  SqliteStatement(std::shared_ptr<Database> database, std::string_view sql);
  ~SqliteStatement() override;

  std::int64_t Execute() override;
  RecordsetPtr Open() override;

 private:
  std::shared_ptr<Database> database_;
  std::string sql_;
  StatementHandle handle_;
};

// Runs a bound statement to its end; the number of rows it changed. Resets it in any case.
std::int64_t RunToEnd(Database& database, sqlite3_stmt* statement);

}  // namespace kestrel::sqlite
