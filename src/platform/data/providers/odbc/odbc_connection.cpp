#include "platform/data/providers/odbc/odbc_connection.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "platform/data/providers/odbc/odbc_recordset.h"
#include "platform/data/providers/odbc/utf16.h"

namespace kestrel::odbc {

namespace {

// Columns of the catalog's answers.
constexpr std::uint16_t kSchema = 2;
constexpr std::uint16_t kTableName = 3;
constexpr std::uint16_t kTableType = 4;
constexpr std::uint16_t kColumnName = 4;

// The server lists its own views among the user's.
bool IsSystemSchema(std::string_view schema) {
  return EqualsIgnoringCase(schema, "sys") || EqualsIgnoringCase(schema, "INFORMATION_SCHEMA");
}

}  // namespace

OdbcConnection::OdbcConnection(Target target) : pool_(std::make_shared<LinkPool>(std::move(target))) {
  std::unique_ptr<Link> first = pool_->Take();
  if (first->DatabaseName().find("SQL Server") != std::string::npos) dialect_ = SqlDialect::kSqlServer;
  pool_->Return(std::move(first));
}

void OdbcConnection::RequireOpen() const {
  if (pool_ == nullptr) throw RuntimeError(ErrorNumber::kObjectClosed);
}

std::int64_t OdbcConnection::Execute(std::string_view) {
  RequireOpen();
  throw RuntimeError(ErrorNumber::kDatabase, "Diese Datenquelle wird nur gelesen, nicht verändert");
}

RecordsetPtr OdbcConnection::OpenRecordset(std::string_view sql) {
  RequireOpen();
  RequireSingleQuery(sql, dialect_);
  return std::make_shared<OdbcRecordset>(pool_, SharedWaits(), sql);
}

std::vector<CatalogTable> OdbcConnection::Tables() {
  RequireOpen();
  ActiveStatement statement(pool_);
  statement.Check(SQLTablesW(statement.handle(), nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0));
  std::vector<CatalogTable> tables;
  while (statement.Fetch()) {
    const std::string schema = statement.TextOf(kSchema);
    CatalogTable table{statement.TextOf(kTableName), statement.TextOf(kTableType)};
    if (table.type == "VIEW" && IsSystemSchema(schema)) table.type = "SYSTEM VIEW";
    tables.push_back(std::move(table));
  }
  return tables;
}

std::vector<std::string> OdbcConnection::ColumnNames(std::string_view table) {
  RequireOpen();
  std::vector<std::string> names;
  // What a query for the table gives, as that is what will be read: [dbo].[Kunden] is understood, and of two
  // schemas the right one is taken.
  const auto describe = [&] {
    const RecordsetPtr rows = OpenRecordset("SELECT * FROM " + std::string(table) + " WHERE 1 = 0");
    for (std::size_t i = 0; i < rows->ColumnCount(); ++i) names.emplace_back(rows->ColumnName(i));
  };
  Trap(describe, [&](const RuntimeError& reason) {
    // A name that a query would have to quote stands in the catalog nevertheless.
    names = CatalogColumnNames(table);
    if (names.empty()) throw reason;
  });
  return names;
}

std::vector<std::string> OdbcConnection::CatalogColumnNames(std::string_view table) {
  ActiveStatement statement(pool_);
  std::u16string pattern = ToUtf16(table);
  statement.Check(SQLColumnsW(statement.handle(), nullptr, 0, nullptr, 0,
                              reinterpret_cast<SQLWCHAR*>(pattern.data()),
                              static_cast<SQLSMALLINT>(pattern.size()), nullptr, 0));
  std::vector<std::string> names;
  std::string first_schema;
  while (statement.Fetch()) {
    const std::string schema = statement.TextOf(kSchema);
    // "_" in a name is a wildcard for the catalog, so others may come along.
    if (!EqualsIgnoringCase(statement.TextOf(kTableName), table)) continue;
    if (names.empty()) first_schema = schema;
    if (schema == first_schema) names.push_back(statement.TextOf(kColumnName));
  }
  return names;
}

void OdbcConnection::Close() {
  if (pool_ != nullptr) pool_->Close();
  pool_ = nullptr;
}

}  // namespace kestrel::odbc
