#include "formats/access/stored_tables.h"

#include <charconv>
#include <utility>

#include "formats/access/cell_value.h"
#include "formats/access/table_reader.h"

namespace kestrel::access {
namespace {

using access_sql::BytesOfCell;
using access_sql::QueryCell;
using access_sql::QueryObject;
using access_sql::ResultColumn;
using access_sql::TableRows;
using access_sql::ValueType;

ValueType TypeOf(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kBoolean: return ValueType::kTruth;
    case ColumnKind::kByte:
    case ColumnKind::kInteger:
    case ColumnKind::kLong:
    case ColumnKind::kBigInteger: return ValueType::kWhole;
    case ColumnKind::kCurrency: return ValueType::kCurrency;
    case ColumnKind::kSingle:
    case ColumnKind::kDouble: return ValueType::kReal;
    case ColumnKind::kDate:
    case ColumnKind::kExtendedDate: return ValueType::kDate;
    case ColumnKind::kNumeric: return ValueType::kDecimal;
    case ColumnKind::kBinary:
    case ColumnKind::kOle: return ValueType::kBytes;
    default: return ValueType::kText;
  }
}

// A text with as many digits as a real number can be trusted with is given as a real number; others stay in
// `digits`.
QueryCell DecimalCell(const std::string& digits) {
  constexpr std::size_t kSafeDigits = 15;
  std::size_t count = 0;
  for (const char c : digits) count += c >= '0' && c <= '9' ? 1 : 0;
  if (count > kSafeDigits) return std::string_view(digits);
  double number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

class Rows final : public TableRows {
 public:
  Rows(TableReader reader, std::string name)
      : reader_(std::move(reader)), name_(std::move(name)), buffers_(reader_.columns().size()) {}

  bool Next() override {
    if (next_ == reader_.RowCount()) return false;
    reader_.GoTo(next_++);
    return true;
  }

  QueryCell Cell(std::size_t index) override {
    const Column& column = reader_.columns()[index];
    const auto cell = reader_.Cell(index);
    if (column.kind == ColumnKind::kBoolean && (cell || !CanBeNull(column)))
      return std::int64_t{TruthValue(cell) ? -1 : 0};
    if (!cell) return {};
    if (IsWhole(column.kind)) return WholeNumber(column.kind, *cell);
    switch (column.kind) {
      case ColumnKind::kCurrency:
      case ColumnKind::kNumeric: return DecimalCell(buffers_[index] = DecimalDigits(column, *cell));
      case ColumnKind::kSingle:
      case ColumnKind::kDouble:
      case ColumnKind::kDate:
      case ColumnKind::kExtendedDate: return RealNumber(column.kind, *cell);
      case ColumnKind::kBinary: return BytesOfCell{*cell};
      case ColumnKind::kOle: return BytesOfCell{LongValue(reader_.file(), *cell, buffers_[index])};
      default: return reader_.Text(index);
    }
  }

  std::optional<RuntimeError> Loss() const override { return reader_.Loss(name_); }

 private:
  TableReader reader_;
  std::string name_;
  std::size_t next_ = 0;
  std::vector<std::string> buffers_;  // by column
};

}  // namespace

QueryObject QueryObjectOf(const CatalogEntry& entry) {
  return {entry.name, entry.id, entry.kind == ObjectKind::kQuery};
}

std::optional<QueryObject> StoredTables::Find(std::string_view name) const {
  const CatalogEntry* entry = catalog_.Find(name);
  return entry == nullptr ? std::nullopt : std::optional(QueryObjectOf(*entry));
}

const CatalogEntry& StoredTables::EntryOf(const QueryObject& object) const {
  const CatalogEntry* entry = catalog_.Find(object.name);
  if (entry == nullptr) throw Damaged("ein Objekt fehlt im Verzeichnis");
  return *entry;
}

std::vector<ResultColumn> StoredTables::Columns(const QueryObject& table) const {
  const CatalogEntry& entry = EntryOf(table);
  if (entry.kind != ObjectKind::kTable) throw LinkedTableError(entry);
  const TableDefinition definition = ReadTableDefinition(*file_, entry.Place());
  std::vector<ResultColumn> columns;
  for (const Column& column : definition.columns) columns.push_back({column.name, TypeOf(column.kind)});
  for (const Column& column : definition.left_out)
    columns.push_back({column.name, ValueType::kUnknown, UnreadableColumn(entry.name, column)});
  return columns;
}

std::unique_ptr<TableRows> StoredTables::Open(const QueryObject& table) const {
  const CatalogEntry& entry = EntryOf(table);
  return std::make_unique<Rows>(TableReader(file_, entry.Place()), entry.name);
}

std::unique_ptr<access_sql::SelectStatement> StoredTables::Statement(const QueryObject& query) const {
  return queries_.Statement(EntryOf(query));
}

}  // namespace kestrel::access
