#include "components/log_component.h"

#include <mutex>
#include <utility>

#include "platform/base/date.h"

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

// For so many rows; several are for SQLite, which could undo a statement that fails half way only by copying
// every page it touches.
std::string InsertText(std::size_t rows) {
  std::string sql = rows == 1 ? "INSERT" : "INSERT OR FAIL";
  sql += " INTO Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0, Spalte1, Spalte2) VALUES ";
  for (std::size_t i = 0; i < rows; ++i) sql += i == 0 ? "(?, ?, ?, ?, ?)" : ", (?, ?, ?, ?, ?)";
  return sql;
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
  decltype(inserts_) inserts;
  inserts[1] = database.Prepare(InsertText(1));
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
  Flush();
  connection_ = object;
  inserts_ = std::move(inserts);
  number_ = number;
  row_number_ = 0;
  in_row_ = false;
  return std::to_string(number);
}

void LogComponent::AddNewRecord() {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  row_.set.fill(false);
  in_row_ = true;
}

void LogComponent::SetField(std::int64_t kind, std::int64_t column, std::string_view text) {
  if (kind != kTextKind || !in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  if (column < 0 || column >= static_cast<std::int64_t>(kColumns)) {
    throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  }
  const auto index = static_cast<std::size_t>(column);
  row_.texts[index] = text;
  row_.set[index] = true;
}

void LogComponent::UpdateRecord() {
  if (!in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  in_row_ = false;
  Connection& connection = RequireConnection(connection_);
  const std::lock_guard lock(connection.CallMutex());
  const auto keep = [this] {
    row_.number = ++row_number_;
    std::swap(rows_[count_++], row_);
  };
  // Where others are kept back already, it goes with them.
  if (count_ != 0 && count_ + 1 < rows_.size()) {
    keep();
    return;
  }
  GroupedWrites& group = GroupedWrites::Of(connection);
  group.Store(GroupedWrites::Record::kOneStatement, [&] {
    keep();
    if (!group.KeepBack(*this) || count_ == rows_.size()) StoreKeptBack();
  });
}

void LogComponent::StoreKeptBack() {
  const std::size_t count = std::exchange(count_, 0);
  if (count == 0) return;
  std::unique_ptr<Statement>& insert = inserts_[count];
  if (insert == nullptr) insert = RequireConnection(connection_).Prepare(InsertText(count));
  std::size_t parameter = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Row& row = rows_[i];
    insert->BindInteger(parameter++, number_ * kRowsPerLog + row.number);
    insert->BindInteger(parameter++, number_);
    for (std::size_t column = 0; column < kColumns; ++column) {
      if (row.set[column]) {
        insert->BindText(parameter++, row.texts[column]);
      } else {
        insert->BindNull(parameter++);
      }
    }
  }
  insert->Execute();
}

void LogComponent::Flush() {
  if (connection_ == nullptr) return;
  Connection& connection = RequireConnection(connection_);
  const std::lock_guard lock(connection.CallMutex());
  GroupedWrites::Of(connection).BeforeQuery();
}

LogComponent::~LogComponent() { Flush(); }

}  // namespace kestrel::host
