#include "components/log_component.h"

#include "platform/base/date.h"
#include "platform/data/grouped_writes.h"

namespace kestrel::host {

namespace {

constexpr std::int64_t kTextKind = 10;
// A row's key is its log's number and its own one, so that no look-up is needed to find a free one.
constexpr std::int64_t kRowsPerLog = std::int64_t{1} << 32;

std::string IsoDate(std::string_view text) {
  const auto date = ParseGermanDate(text);
  if (!date) return std::string(text);
  const std::string digits = FormatStoredDate(*date);
  return digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2);
}

}  // namespace

void LogComponent::Bind(Members& members) {
  members.Method("CreateProtokoll", &LogComponent::CreateProtokoll);
  members.Method("AddNewRecord", &LogComponent::AddNewRecord);
  members.Method("SetField", &LogComponent::SetField);
  members.Method("UpdateRecord", &LogComponent::UpdateRecord);
}

std::string LogComponent::CreateProtokoll(const Value& connection, std::string_view title,
                                          std::string_view user, std::string_view list, std::string_view date,
                                          std::string_view description, std::string_view file,
                                          std::string_view source, std::optional<Value>,
                                          std::optional<std::string> log_class) {
  const ObjectPtr object = connection.ToObject();
  Connection& database = RequireConnection(object);
  const auto insert = database.Prepare(
      "INSERT INTO Protokoll (ProtokollNr, Titel, Benutzer, Liste, Datum, Beschreibung, Datei, Quelle, Klasse) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  auto insert_row = database.Prepare(
      "INSERT INTO Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0, Spalte1, Spalte2) VALUES (?, ?, ?, ?, ?)");
  const std::string iso_date = IsoDate(date);
  const std::string class_name = log_class.value_or(std::string());
  const std::string_view texts[] = {title, user, list, iso_date, description, file, source, class_name};
  std::int64_t number = 0;
  GroupedWrites::Of(database).Store(GroupedWrites::Record::kOneStatement, [&] {
    const RecordsetPtr greatest = database.OpenRecordset("SELECT max(ProtokollNr) FROM Protokoll");
    number = greatest->IsNull(0) ? 1 : greatest->ValueAt(0).ToInteger() + 1;
    insert->BindInteger(0, number);
    for (std::size_t i = 0; i < std::size(texts); ++i) insert->BindText(i + 1, texts[i]);
    insert->Execute();
  });
  connection_ = object;
  insert_row_ = std::move(insert_row);
  number_ = number;
  row_number_ = 0;
  in_row_ = false;
  return std::to_string(number);
}

void LogComponent::AddNewRecord() {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  set_.fill(false);
  in_row_ = true;
}

void LogComponent::SetField(std::int64_t kind, std::int64_t column, std::string_view text) {
  if (kind != kTextKind || !in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  if (column < 0 || column >= static_cast<std::int64_t>(kColumns)) {
    throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  }
  const auto index = static_cast<std::size_t>(column);
  texts_[index] = text;
  set_[index] = true;
}

void LogComponent::UpdateRecord() {
  if (!in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  in_row_ = false;
  GroupedWrites::Of(RequireConnection(connection_)).Store(GroupedWrites::Record::kOneStatement, [this] {
    insert_row_->BindInteger(0, number_ * kRowsPerLog + ++row_number_);
    insert_row_->BindInteger(1, number_);
    for (std::size_t i = 0; i < kColumns; ++i) {
      if (set_[i]) {
        insert_row_->BindText(2 + i, texts_[i]);
      } else {
        insert_row_->BindNull(2 + i);
      }
    }
    insert_row_->Execute();
  });
}

}  // namespace kestrel::host
