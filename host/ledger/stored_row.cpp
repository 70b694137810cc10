#include "ledger/stored_row.h"

#include "ledger/decimal.h"
#include "platform/base/number.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

constexpr const char* kRow = "stored_row";

StoredValue AsImported(FieldKind kind, std::string_view text) {
  constexpr std::size_t kDay = 10;
  constexpr std::string_view kMidnight = " 00:00:00";
  if (kind == FieldKind::kDate && text.size() > kDay && text.substr(kDay).starts_with(kMidnight)) {
    // Behind it a server writes the distance from Greenwich; parts of a second are no midnight.
    const std::string_view rest = text.substr(kDay + kMidnight.size());
    if (rest.empty() || rest.front() == '+' || rest.front() == '-') return text.substr(0, kDay);
  }
  if (kind == FieldKind::kTruth && (text == "true" || text == "false")) return std::int64_t{text == "true"};
  return text;
}

bool IsText(const StoredValue& value) { return std::holds_alternative<std::string_view>(value); }

}  // namespace

StoredRow::StoredRow(Connection& connection, const Destination& destination)
    : is_sqlite_(IsSqlite(connection)),
      from_(" FROM " + destination.table + " AS " + kRow + " WHERE " + kRow + "." +
            destination.fields[destination.number_field].column + " = ?"),
      values_(destination.fields.size()),
      as_imported_(destination.fields.size()),
      texts_(destination.fields.size()) {
  std::string types;
  for (const DestinationField& field : destination.fields) {
    kinds_.push_back(field.kind);
    // With the table before them: SQLite takes a name in quotes that is no column for a text.
    columns_.push_back(std::string(kRow) + "." + field.column);
    types += (types.empty() ? "" : " OR ") + ("typeof(" + columns_.back() + ") = 'blob'");
  }
  std::string columns;
  for (const std::string& column : columns_) {
    if (!columns.empty()) columns += ", ";
    // Of an expression a record set knows no declared type, by which it would make another text of the value.
    columns += is_sqlite_ ? "+" + column : column + "::text";
  }
  if (is_sqlite_) columns += ", " + types;
  select_ = connection.Prepare("SELECT " + columns + from_ + (is_sqlite_ ? "" : " FOR UPDATE"));
  if (!is_sqlite_) return;
  types.clear();
  for (const std::string& column : columns_) types += (types.empty() ? "typeof(" : ", typeof(") + column + ")";
  select_types_ = connection.Prepare("SELECT " + types + from_);
}

bool StoredRow::Read(std::int64_t number) {
  select_->BindInteger(0, number);
  const RecordsetPtr rows = select_->Open();
  if (rows->IsEof()) return false;
  number_ = number;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    const Value value = rows->ValueAt(i);
    if (value.IsNull()) {
      values_[i] = std::monostate();
    } else if (value.IsText()) {
      texts_[i] = value.TextOrEmpty();
      values_[i] = texts_[i];
      as_imported_[i] = AsImported(kinds_[i], texts_[i]);
      continue;
    } else if (const double real = value.ToDouble(); value == Value(real)) {
      values_[i] = real;
    } else {
      values_[i] = value.ToInteger();
    }
    as_imported_[i] = values_[i];
  }
  holds_bytes_ = is_sqlite_ && rows->ValueAt(values_.size()).ToInteger() != 0;
  return true;
}

bool StoredRow::HoldsBytes(std::size_t field) {
  if (!holds_bytes_) return false;
  select_types_->BindInteger(0, number_);
  const RecordsetPtr row = select_types_->Open();
  return !row->IsEof() && row->TextAt(field) == "blob";
}

bool StoredRow::StaysWith(std::size_t field, const StoredValue& given) const {
  // SQLite keeps a text as it is written, be it a number or a day.
  if (is_sqlite_ && (IsText(values_[field]) || IsText(given))) return values_[field] == given;
  return IsSameValue(as_imported_[field], given);
}

bool StoredRow::HasImported(std::size_t field, const StoredValue& given) const {
  return values_[field] == given || IsSameValue(as_imported_[field], given);
}

bool IsSameValue(const StoredValue& stored, const StoredValue& given) {
  if (stored == given) return true;
  // Two texts are the same text or none, whatever numbers they are.
  if (IsText(given) && IsText(stored)) return false;
  const std::optional<Decimal> number = DecimalOf(stored);
  return number && number == DecimalOf(given);
}

std::string ShownValue(const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) return std::string(*text);
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return std::to_string(*whole);
  if (const auto* real = std::get_if<double>(&value)) return FormatNumber(*real);
  return {};
}

}  // namespace kestrel::host
