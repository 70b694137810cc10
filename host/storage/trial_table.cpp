#include "storage/trial_table.h"

#include <algorithm>
#include <cstdint>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "platform/data/recovery.h"
#include "platform/data/table_names.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/grouped_writes.h"

namespace kestrel::host {

namespace {

// While it lives, no name of a statement is taken for one of the host's tables: a definition that somebody else has written
// may call a column so.
class NamesAsWritten {
 public:
  explicit NamesAsWritten(Connection& connection)
      : names_(connection.attachments().Of<TableNames>(connection)), had_prefix_(names_.AreOthers()) {
    if (had_prefix_) names_.Prefix({}, {});
  }
  NamesAsWritten(const NamesAsWritten&) = delete;
  NamesAsWritten& operator=(const NamesAsWritten&) = delete;
  ~NamesAsWritten() {
    if (had_prefix_) names_.Prefix(kOwnPrefix, OwnNames());
  }

 private:
  TableNames& names_;
  const bool had_prefix_;
};

}  // namespace

TrialTable::TrialTable(Connection& connection, const Destination& destination)
    : connection_(connection), destination_(destination) {
  // Lower case, as PostgreSQL tells it in its errors; no other test run of the connection has the name.
  destination_.table = "pruefung_" + std::to_string(reinterpret_cast<std::uintptr_t>(this));
  destination_.trial_of = destination.table;
  told_table_ = ToldTable(destination);
  if (!IsSqlite(connection) && !IsQuoted(destination.table)) {
    // As PostgreSQL calls a table that was created without quotes.
    std::ranges::transform(told_table_, told_table_.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  }
  const std::lock_guard lock(connection_.CallMutex());
  GroupedWrites::Of(connection_).Flush();
  // In a file, as there may be millions of records; an import has asked for the memory.
  if (IsSqlite(connection_)) connection_.Execute("PRAGMA temp_store = FILE");
  const auto* recovery = dynamic_cast<const Recovery*>(&connection_);
  if (recovery != nullptr && recovery->IsPooled() && !connection_.InTransaction()) {
    connection_.Begin();
    is_transaction_ = true;
  }
  // A temporary table may refer to temporary ones only.
  if (IsQuoted(destination.table) && IsSqlite(connection_)) connection_.Execute("PRAGMA foreign_keys = OFF");
  const NamesAsWritten as_written(connection_);
  connection_.Execute(CreateText(destination.table));
}

TrialTable::~TrialTable() {
  // It ends with the connection.
  Trap([this] { Remove(); }, [](const RuntimeError&) {});
}

void TrialTable::Remove() {
  if (!connection_.IsOpen()) return;
  GroupedWrites::Of(connection_).Flush();
  connection_.Execute("DROP TABLE " + destination_.table);
  if (IsQuoted(destination_.trial_of) && IsSqlite(connection_)) {
    connection_.Execute("PRAGMA foreign_keys = ON");
  }
  if (is_transaction_ && connection_.InTransaction()) connection_.Commit();
}

std::string TableColumns(Connection& connection, const std::string& table) {
  const auto query =
      connection.Prepare("SELECT sql FROM main.sqlite_schema WHERE type = 'table' AND lower(name) = lower(?)");
  const std::string name = ToldName(table);
  query->BindText(0, name);
  const RecordsetPtr row = query->Open();
  const std::string_view definition = row->IsEof() ? std::string_view() : row->TextAt(0);
  // A name in quotes may hold a bracket.
  const std::size_t name_at = IsQuoted(table) ? definition.find(name) : std::string_view::npos;
  const std::size_t columns =
      definition.find('(', name_at == std::string_view::npos ? 0 : name_at + name.size());
  return columns == std::string_view::npos ? std::string() : std::string(definition.substr(columns));
}

std::string TrialTable::CreateText(const std::string& original) const {
  const std::string start = "CREATE TEMPORARY TABLE " + destination_.table + " ";
  if (!IsSqlite(connection_)) return start + "(LIKE " + original + " INCLUDING ALL)";
  const std::string columns = TableColumns(connection_, original);
  if (columns.empty()) {
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        "'" + ToldName(original) + "' ist keine Tabelle, daher kann der Import dorthin nicht getestet werden.");
  }
  return start + columns;
}

std::string TrialTable::ToldOfTable(const std::string& description) const {
  return ReplaceAll(description, destination_.table, told_table_);
}

}  // namespace kestrel::host
