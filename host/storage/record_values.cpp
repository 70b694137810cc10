#include "storage/record_values.h"

namespace kestrel::host {

std::string_view TextOf(const StoredValue& value) {
  const auto* text = std::get_if<std::string_view>(&value);
  return text == nullptr ? std::string_view() : *text;
}

std::string ColumnList(const Destination& destination) {
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    columns += (columns.empty() ? "" : ", ") + field.column;
  }
  return columns;
}

void Bind(Statement& statement, std::size_t parameter, const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    statement.BindText(parameter, *text);
  } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    statement.BindInteger(parameter, *whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    statement.BindDouble(parameter, *real);
  } else {
    statement.BindNull(parameter);
  }
}

void Append(CopiedRows& rows, const StoredValue& value) {
  if (const auto* text = std::get_if<std::string_view>(&value)) {
    rows.AddText(*text);
  } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    rows.AddInteger(*whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    rows.AddDouble(*real);
  } else {
    rows.AddNull();
  }
}

std::string InsertTarget(const Destination& destination) {
  return destination.table + " (" + ColumnList(destination) + ")" +
         (destination.overrides_identity ? " OVERRIDING SYSTEM VALUE" : "");
}

std::string InsertText(const Destination& destination) {
  std::string marks = "?";
  for (std::size_t i = 1; i < destination.fields.size(); ++i) marks += ", ?";
  return std::string(destination.overrides_conflicts ? "INSERT OR ABORT INTO " : "INSERT INTO ") +
         InsertTarget(destination) + " VALUES (" + marks + ")";
}

std::string UpdateText(const Destination& destination, const std::string& sets) {
  return (destination.overrides_conflicts ? "UPDATE OR ABORT " : "UPDATE ") + destination.table + " SET " +
         sets + " WHERE " + destination.fields[destination.number_field].column + " = ?";
}

std::string TakeOverText(const Destination& destination) {
  const std::string& number = destination.fields[destination.number_field].column;
  const std::string target = IsQuoted(destination.trial_of) ? InsertTarget(destination) : destination.table;
  return "INSERT INTO " + target + " SELECT " +
         (IsQuoted(destination.trial_of) ? ColumnList(destination) : "*") + " FROM " + destination.trial_of +
         " WHERE " + number + " = ? ON CONFLICT (" + number + ") DO NOTHING";
}

void KeptValues::Keep(const RecordValues& values) {
  values_ = values;
  std::size_t length = 0;
  for (const StoredValue& value : values) length += TextOf(value).size();
  // Room for all first, as the views must not move.
  texts_.clear();
  texts_.reserve(length);
  for (StoredValue& value : values_) {
    auto* text = std::get_if<std::string_view>(&value);
    if (text == nullptr) continue;
    const std::size_t start = texts_.size();
    texts_.append(*text);
    *text = std::string_view(texts_).substr(start);
  }
}

}  // namespace kestrel::host
