#include "storage/insert_check.h"

#include "schema/host_schema.h"
#include "storage/row_inserts.h"

namespace kestrel::host {

namespace {

// Of a table's partitions, too: each may have triggers of its own.
bool HasActionsBeforeInserts(Connection& connection, const std::string& table) {
  const auto query = connection.Prepare(
      "SELECT c.relhasrules OR EXISTS (SELECT 1 FROM pg_catalog.pg_trigger t WHERE NOT t.tgisinternal "
      // Of each row, before it is inserted, as the catalog keeps it in bits.
      "AND t.tgtype & 7 = 7 AND (t.tgrelid = c.oid OR t.tgrelid IN "
      "(SELECT relid FROM pg_catalog.pg_partition_tree(c.oid)))) "
      "FROM pg_catalog.pg_class c WHERE c.oid = to_regclass(?)");
  query->BindText(0, table);
  const RecordsetPtr row = query->Open();
  return !row->IsEof() && row->ValueAt(0).ToBool();
}

}  // namespace

std::unique_ptr<InsertCheck> InsertCheck::For(Connection& connection, const Destination& destination) {
  // A trial table has none, and what triggers of SQLite do before an insert changes no row of it.
  if (IsSqlite(connection) || !destination.trial_of.empty()) return nullptr;
  if (!HasActionsBeforeInserts(connection, destination.table)) return nullptr;
  return std::unique_ptr<InsertCheck>(new InsertCheck(connection, destination));
}

InsertCheck::InsertCheck(Connection& connection, const Destination& destination)
    : connection_(connection), destination_(destination), statements_(RowInserts::kMostRows + 1) {
  find_ = connection.Prepare("SELECT 1 FROM " + destination.table + " WHERE " +
                             destination.fields[destination.number_field].column + " = ?");
}

bool InsertCheck::Has(std::int64_t number) {
  find_->BindInteger(0, number);
  return !find_->Open()->IsEof();
}

void InsertCheck::Require(std::int64_t number) {
  if (!Has(number)) RefuseDropped(destination_);
}

Statement& InsertCheck::Of(std::size_t rows) {
  std::unique_ptr<Statement>& statement = statements_.at(rows);
  if (statement == nullptr) {
    std::string numbers = "?";
    for (std::size_t i = 1; i < rows; ++i) numbers += ", ?";
    // Divides by zero where one is missing.
    statement = connection_.Prepare(
        "SELECT 1 / CAST(count(*) = " + std::to_string(rows) + " AS integer) FROM " + destination_.table +
        " WHERE " + destination_.fields[destination_.number_field].column + " IN (" + numbers + ")");
  }
  return *statement;
}

bool MayBeDropped(const Connection& connection, const Destination& destination) {
  return destination.trial_of.empty() && (IsQuoted(destination.table) || IsSqlite(connection));
}

void RefuseDropped(const Destination& destination) {
  throw RuntimeError(
      ErrorNumber::kDatabase,
      "Die Datenbank hat den Datensatz nicht gespeichert, oder unter einer anderen Nummer, und keinen Grund "
      "genannt. Das tut ein Trigger oder eine Regel der Tabelle '" +
          ShownTable(destination) + "'; fragen Sie, wer die Anwendung betreut");
}

void RefuseUnchanged(const Destination& destination, std::int64_t number) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Die Datenbank hat den Datensatz " + std::to_string(number) + " der Tabelle '" +
                         ShownTable(destination) +
                         "' nicht geändert und keinen Grund genannt. Das tut ein Trigger oder eine Regel der "
                         "Tabelle, oder ein anderes Programm hat ihn eben gelöscht");
}

}  // namespace kestrel::host
