#include "storage/log_details.h"

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"
#include "kestrel/transaction.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

using NameAndColumn = std::pair<std::string_view, std::string_view>;

constexpr std::array<NameAndColumn, 13> kRowColumns = {{
    {"Record", "Datensatz"},
    {"LastRecord", "DatensatzBis"},
    {"Field", "Feld"},
    {"SourceColumn", "Quellspalte"},
    {"RawValue", "Rohwert"},
    {"AddressType", "Adressart"},
    {"Address", "Adresse"},
    {"Name", "Name"},
    {"Place", "Ort"},
    {"Key", "Schluessel"},
    {"EarlierRecord", "FruehererDatensatz"},
    {"Score", "Wertung"},
    {"Reason", "Grund"},
}};

constexpr std::array<NameAndColumn, 3> kLogColumns = {{
    {"Specification", "Spezifikation"},
    {"Source", "Quelle"},
    {"ImportClass", "Importklasse"},
}};

template <std::size_t Count>
std::optional<std::size_t> PositionOf(const std::array<NameAndColumn, Count>& columns, std::string_view name) {
  const auto found = std::ranges::find_if(
      columns, [&](const NameAndColumn& column) { return EqualsIgnoringCase(column.first, name); });
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns.begin());
}

std::string RowTable(std::size_t columns) {
  std::string table = "Protokolldetails (ZeilenNr, ProtokollNr";
  for (std::size_t i = 0; i < columns; ++i) table.append(", ").append(kRowColumns[i].second);
  return table + ")";
}

}  // namespace

bool HasLogDetails(Connection& connection) {
  const std::string table = OwnTable(connection, "Protokolldetails");
  const RecordsetPtr found = connection.OpenRecordset(
      IsSqlite(connection) ? "SELECT name FROM sqlite_schema WHERE name = '" + table + "'"
                           : "SELECT 1 WHERE to_regclass(lower('" + table + "')) IS NOT NULL");
  if (!found->IsEof()) return true;
  GroupedWrites::Of(connection).Flush();
  // A host that lets nobody make tables has logs all the same.
  return Trap([&] { CreateLogDetailTables(connection); }, [](const RuntimeError&) {});
}

bool HasReasons(Connection& connection) {
  const std::string table = OwnTable(connection, "Protokolldetails");
  const auto found = [&] {
    return !connection
                .OpenRecordset(IsSqlite(connection)
                                   ? "SELECT 1 FROM pragma_table_info('" + table + "') WHERE name = 'Grund'"
                                   : "SELECT 1 FROM pg_attribute WHERE attrelid = to_regclass(lower('" + table +
                                         "')) AND attname = 'grund'")
                ->IsEof();
  };
  if (found()) return true;
  GroupedWrites::Of(connection).Flush();
  const auto add = [&] {
    InTransaction(connection, [&] {
      for (const char* column : {"Wertung INTEGER", "Grund TEXT"}) {
        connection.Execute("ALTER TABLE Protokolldetails ADD COLUMN " + std::string(column));
      }
    });
  };
  // Another program may have been faster.
  return Trap(add, [](const RuntimeError&) {}) || found();
}

LogDetailRows::LogDetailRows(Connection& connection) : connection_(connection) {
  if (!HasLogDetails(connection)) return;
  columns_ = HasReasons(connection) ? kColumns : kColumns - kReasonColumns;
  rows_ = std::make_unique<WriteBehindBuffer>(connection, RowTable(columns_), columns_);
}

void LogDetailRows::Begin(std::int64_t log_number) {
  if (std::exchange(origin_waits_, false)) StoreOrigin(log_number);
  set_.fill(false);
  any_ = false;
}

void LogDetailRows::Set(std::string_view name, std::string_view text) {
  const auto position = PositionOf(kRowColumns, name);
  if (!position) return;
  texts_[*position] = text;
  set_[*position] = any_ = true;
}

void LogDetailRows::Store(std::int64_t row_key, std::int64_t log_number) {
  if (!any_ || rows_ == nullptr) return;
  std::array<WriteBehindBuffer::Text, kColumns> texts;
  for (std::size_t column = 0; column < kColumns; ++column) {
    if (set_[column]) texts[column] = texts_[column];
  }
  rows_->Append(row_key, log_number, std::span(texts).first(columns_));
}

void LogDetailRows::Flush() {
  if (rows_ != nullptr) rows_->Flush();
}

void LogDetailRows::SetOfLog(std::string_view name, std::string_view text) {
  const auto position = PositionOf(kLogColumns, name);
  if (!position || rows_ == nullptr) return;
  origin_[*position] = text;
  origin_waits_ = true;
}

void LogDetailRows::StoreOrigin(std::int64_t log_number) {
  const auto store = [&] {
    const auto insert = connection_.Prepare(
        "INSERT INTO Protokollherkunft (Spezifikation, Quelle, Importklasse, ProtokollNr) VALUES (?, ?, ?, ?)");
    for (std::size_t i = 0; i < origin_.size(); ++i) insert->BindText(i, origin_[i]);
    insert->BindInteger(origin_.size(), log_number);
    insert->Execute();
  };
  // The row is worth more. What only waited in vain is stored with a later one.
  Trap(store, [this](const RuntimeError&) { origin_waits_ = !connection_.StopReason().empty(); });
}

}  // namespace kestrel::host
