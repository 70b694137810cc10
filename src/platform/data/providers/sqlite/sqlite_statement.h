#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/data/connection.h"
#include "platform/data/providers/sqlite/database.h"

namespace kestrel::sqlite {

// Binding only notes the values; they reach SQLite inside Execute and Open, under the database's mutex.
class SqliteStatement final : public Statement {
 public:
  SqliteStatement(std::shared_ptr<Database> database, std::string_view sql);
  ~SqliteStatement() override;

  void BindText(std::size_t parameter, std::string_view text) override { At(parameter) = text; }
  void BindInteger(std::size_t parameter, std::int64_t number) override { At(parameter) = number; }
  void BindDouble(std::size_t parameter, double number) override { At(parameter) = number; }
  void BindNull(std::size_t parameter) override { At(parameter) = std::monostate(); }
  std::int64_t Execute() override;
  RecordsetPtr Open() override;

 private:
  using Bound = std::variant<std::monostate, std::int64_t, double, std::string_view>;
  Bound& At(std::size_t parameter);

  std::shared_ptr<Database> database_;
  std::string sql_;
  StatementHandle handle_;
  std::vector<Bound> values_;
};

// Runs a bound statement to its end; the number of rows it changed. Resets it in any case.
std::int64_t RunToEnd(const Database& database, sqlite3_stmt* statement);

}  // namespace kestrel::sqlite
