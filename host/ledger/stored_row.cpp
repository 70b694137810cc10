#include "ledger/stored_row.h"

#include <charconv>

#include "platform/base/number.h"
#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

// As an import would have given it: a day as such where it is stored as a time, what is true or false as 1 or 0.
StoredValue AsImported(FieldKind kind, std::string_view text) {
  constexpr std::size_t kDay = 10;
  if (kind == FieldKind::kDate && text.size() > kDay && text.substr(kDay).starts_with(" 00:00:00")) {
    return text.substr(0, kDay);
  }
  if (kind == FieldKind::kTruth && (text == "true" || text == "false")) return std::int64_t{text == "true"};
  return text;
}

}  // namespace

StoredRow::StoredRow(Connection& connection, const Destination& destination)
    : values_(destination.fields.size()), texts_(destination.fields.size()) {
  for (const DestinationField& field : destination.fields) kinds_.push_back(field.kind);
  const bool is_sqlite = IsSqlite(connection);
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    if (!columns.empty()) columns += ", ";
    // Of an expression a record set knows no declared type, by which it would make another text of the value.
    columns += is_sqlite ? "+" + field.column : field.column + "::text";
  }
  select_ = connection.Prepare("SELECT " + columns + " FROM " + destination.table + " WHERE " +
                               destination.fields[destination.number_field].column + " = ?" +
                               (is_sqlite ? "" : " FOR UPDATE"));
}

bool StoredRow::Read(std::int64_t number) {
  select_->BindInteger(0, number);
  const RecordsetPtr rows = select_->Open();
  if (rows->IsEof()) return false;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    const Value value = rows->ValueAt(i);
    if (value.IsNull()) {
      values_[i] = std::monostate();
    } else if (value.IsText()) {
      texts_[i] = value.TextOrEmpty();
      values_[i] = AsImported(kinds_[i], texts_[i]);
    } else if (const double real = value.ToDouble(); value == Value(real)) {
      values_[i] = real;
    } else {
      values_[i] = value.ToInteger();
    }
  }
  return true;
}

std::optional<double> NumberOf(const StoredValue& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  const auto* text = std::get_if<std::string_view>(&value);
  if (text == nullptr) return std::nullopt;
  double number = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
  return number;
}

bool IsSameValue(const StoredValue& stored, const StoredValue& given) {
  if (stored == given) return true;
  // Two texts are the same text or none, whatever numbers they are.
  if (std::holds_alternative<std::string_view>(given) && std::holds_alternative<std::string_view>(stored)) {
    return false;
  }
  const std::optional<double> number = NumberOf(stored);
  return number && number == NumberOf(given);
}

std::string ShownValue(const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) return std::string(*text);
  if (const auto* whole = std::get_if<std::int64_t>(&value)) return std::to_string(*whole);
  if (const auto* real = std::get_if<double>(&value)) return FormatNumber(*real);
  return {};
}

}  // namespace kestrel::host
