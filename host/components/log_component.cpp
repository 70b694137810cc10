#include "components/log_component.h"

#include <utility>

#include "kestrel/date.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/free_numbers.h"
#include "storage/retried_transaction.h"

namespace kestrel::host {

namespace {

constexpr std::int64_t kTextKind = 10;

std::string IsoDate(std::string_view text) {
  const auto date = ParseGermanDate(text);
  if (!date) return std::string(text);
  const std::string digits = FormatStoredDate(*date);
  return digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2);
}

constexpr const char* kRowTable = "Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0, Spalte1, Spalte2)";

}  // namespace

void LogComponent::Bind(Members& members) {
  members.Method("CreateProtokoll", &LogComponent::CreateProtokoll);
  members.Method("AddNewRecord", &LogComponent::AddNewRecord);
  members.Method("SetField", &LogComponent::SetField);
  members.Method("SetLogDetail", &LogComponent::SetLogDetail);
  members.Method("SetRowDetail", &LogComponent::SetRowDetail);
  members.Method("UpdateRecord", &LogComponent::UpdateRecord);
  members.Method("StoreRow", &LogComponent::StoreRow);
}

std::string LogComponent::CreateProtokoll(const Value& connection, std::string_view title,
                                          std::string_view user, std::string_view list, std::string_view date,
                                          std::string_view description, std::string_view file,
                                          std::string_view source, std::optional<Value>,
                                          std::optional<std::string> log_class) {
  const ObjectPtr object = connection.ToObject();
  Connection& database = RequireHost(object);
  if (details_ != nullptr) details_->Flush();
  if (rows_ != nullptr) rows_->Flush();
  GroupedWrites::Of(database).Flush();
  const auto insert = database.Prepare(
      "INSERT INTO Protokoll (ProtokollNr, Titel, Benutzer, Liste, Datum, Beschreibung, Datei, Quelle, Klasse) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING");
  auto rows = std::make_unique<WriteBehindBuffer>(database, kRowTable, kColumns);
  auto details = std::make_unique<LogDetailRows>(database);
  const std::string iso_date = IsoDate(date);
  const std::string class_name = log_class.value_or(std::string());
  const std::string_view texts[] = {title, user, list, iso_date, description, file, source, class_name};
  for (std::size_t i = 0; i < std::size(texts); ++i) insert->BindText(i + 1, texts[i]);
  const auto numbers = FreeNumbers::Of(database, "Protokoll", "ProtokollNr");
  std::int64_t number = 0;
  InRetriedTransaction(database, [&] {
    // An attempt before, which may stand after all.
    if (number != 0) database.Execute("DELETE FROM Protokoll WHERE ProtokollNr = " + std::to_string(number));
    InsertNumbered(*numbers, [&](std::int64_t free) {
      insert->BindInteger(0, free);
      // Else it is somebody else's, whom another attempt leaves alone.
      if (insert->Execute() == 0) return false;
      number = free;
      return true;
    });
    numbers->Take(number);
  });
  // The rows first, as they need their connection to the end.
  rows_ = std::move(rows);
  details_ = std::move(details);
  connection_ = object;
  number_ = number;
  row_number_ = 0;
  in_row_ = false;
  return std::to_string(number);
}

void LogComponent::BeginRow() {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  details_->Begin(number_);
}

void LogComponent::AddNewRecord() {
  BeginRow();
  row_set_.fill(false);
  in_row_ = true;
}

void LogComponent::SetField(std::int64_t kind, std::int64_t column, std::string_view text) {
  if (kind != kTextKind || !in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  if (column < 0 || column >= static_cast<std::int64_t>(kColumns)) {
    throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  }
  const auto index = static_cast<std::size_t>(column);
  row_texts_[index] = text;
  row_set_[index] = true;
}

void LogComponent::SetLogDetail(std::string_view name, std::string_view text) {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  details_->SetOfLog(name, text);
}

void LogComponent::SetRowDetail(std::string_view name, std::string_view text) {
  if (!in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  details_->Set(name, text);
}

void LogComponent::UpdateRecord() {
  if (!in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  in_row_ = false;
  std::array<WriteBehindBuffer::Text, kColumns> texts;
  for (std::size_t column = 0; column < kColumns; ++column) {
    if (row_set_[column]) texts[column] = row_texts_[column];
  }
  AppendRow(texts);
}

void LogComponent::StoreRow(std::string_view text0, std::optional<std::string_view> text1,
                            std::optional<std::string_view> text2) {
  BeginRow();
  in_row_ = false;
  AppendRow({text0, text1, text2});
}

void LogComponent::AppendRow(const std::array<WriteBehindBuffer::Text, kColumns>& texts) {
  if (row_number_ == 0) range_ = number_ + (texts[1] ? kRangesOfWideLogs : 0);
  const std::int64_t key = range_ * kRowsPerLog + ++row_number_;
  rows_->Append(key, number_, texts);
  details_->Store(key, number_);
}

}  // namespace kestrel::host
