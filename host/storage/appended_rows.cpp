#include "storage/appended_rows.h"

#include <utility>

#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/row_inserts.h"

namespace kestrel::host {

namespace {

// A table that is the only one of its name, without triggers, whose key is the number that SQLite gives each row; a key
// that is declared as descending is none, and one that is never used again is not the next behind the last.
constexpr const char* kGivesKeys =
    "SELECT 1 FROM main.sqlite_schema t, pragma_table_info(t.name) c WHERE t.type = 'table' AND t.name = ? "
    "AND c.name = ? AND c.pk = 1 AND upper(c.type) = 'INTEGER' AND upper(t.sql) NOT LIKE '%DESC%' "
    "AND upper(t.sql) NOT LIKE '%AUTOINCREMENT%' "
    "AND (SELECT sum(pk) FROM pragma_table_info(t.name)) = 1 "
    "AND (SELECT sum(wr + 1) FROM pragma_table_list WHERE name = t.name COLLATE NOCASE) = 1 "
    "AND NOT EXISTS (SELECT 1 FROM main.sqlite_schema WHERE type = 'trigger' AND tbl_name = t.name COLLATE "
    "NOCASE) "
    "AND NOT EXISTS (SELECT 1 FROM sqlite_temp_schema WHERE type = 'trigger' AND tbl_name = t.name COLLATE "
    "NOCASE)";

// Rows that wait to be stored stay so for the queries here.
class OfNoRows {
 public:
  explicit OfNoRows(AbsentValues& absent) : query_(absent, rows_) {}

 private:
  const SoughtRows rows_{"sqlite_schema", {}};
  const AbsentValues::Query query_;
};

}  // namespace

AppendedRows::AppendedRows(Connection& connection, std::string table, std::size_t columns)
    : connection_(connection),
      absent_(connection.attachments().Of<AbsentValues>(connection)),
      table_(std::move(table)),
      columns_(columns),
      name_(table_.substr(0, table_.find(' '))),
      key_(table_.substr(table_.find('(') + 1, table_.find(',') - table_.find('(') - 1)),
      statements_(RowInserts::kMostRows + 1) {}

bool AppendedRows::GivesKeys() {
  if (!gives_keys_) {
    gives_keys_ = false;
    if (IsSqlite(connection_)) {
      const auto query = connection_.Prepare(kGivesKeys);
      const std::string own_name = OwnTable(connection_, name_);
      query->BindText(0, own_name);
      query->BindText(1, key_);
      gives_keys_ = !query->Open()->IsEof();
    }
  }
  return *gives_keys_;
}

bool AppendedRows::Follow(std::int64_t first_key) {
  const OfNoRows told(absent_);
  if (!GivesKeys()) return false;
  if (last_key_ == nullptr) last_key_ = connection_.Prepare("SELECT max(" + key_ + ") FROM " + name_);
  const RecordsetPtr last = last_key_->Open();
  return last->IsNull(0) || last->ValueAt(0).ToInteger() < first_key;
}

Statement& AppendedRows::Of(std::size_t rows) {
  std::unique_ptr<Statement>& statement = statements_.at(rows);
  if (statement == nullptr) {
    std::string first = "(?, ?", next = ", (NULL, ?2";
    for (std::size_t i = 2; i < columns_; ++i) {
      first += ", ?";
      next += ", ?";
    }
    std::string target = table_ + " VALUES " + first + ")";
    for (std::size_t i = 1; i < rows; ++i) target += next + ")";
    statement = connection_.Prepare(InsertAbsentText(connection_, target));
  }
  return *statement;
}

}  // namespace kestrel::host
