#include "components/log_component.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/base/date.h"
#include "platform/data/transaction.h"
#include "schema/host_schema.h"

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

// For so many rows. A row that is there already is passed over, see invariant 3.
std::string InsertText(const Connection& connection, std::size_t rows) {
  // On SQLite, a statement of several rows that could fail half way would copy every page it touches.
  std::string sql = IsSqlite(connection) ? "INSERT OR IGNORE" : "INSERT";
  sql += " INTO Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0, Spalte1, Spalte2) VALUES ";
  for (std::size_t i = 0; i < rows; ++i) sql += i == 0 ? "(?, ?, ?, ?, ?)" : ", (?, ?, ?, ?, ?)";
  return IsSqlite(connection) ? sql : sql + " ON CONFLICT DO NOTHING";
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
  Flush();
  GroupedWrites::Of(database).Flush();
  const auto insert = database.Prepare(
      "INSERT INTO Protokoll (ProtokollNr, Titel, Benutzer, Liste, Datum, Beschreibung, Datei, Quelle, Klasse) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  decltype(inserts_) inserts;
  inserts[1] = database.Prepare(InsertText(database, 1));
  const std::string iso_date = IsoDate(date);
  const std::string class_name = log_class.value_or(std::string());
  const std::string_view texts[] = {title, user, list, iso_date, description, file, source, class_name};
  std::int64_t number = 0;
  InTransaction(database, [&] {
    const RecordsetPtr greatest = database.OpenRecordset("SELECT max(ProtokollNr) FROM Protokoll");
    number = greatest->IsNull(0) ? 1 : greatest->ValueAt(0).ToInteger() + 1;
    insert->BindInteger(0, number);
    for (std::size_t i = 0; i < std::size(texts); ++i) insert->BindText(i + 1, texts[i]);
    insert->Execute();
  });
  connection_ = object;
  inserts_ = std::move(inserts);
  rows_.clear();
  texts_.clear();
  stored_ = 0;
  is_kept_back_ = false;
  number_ = number;
  row_number_ = 0;
  in_row_ = false;
  return std::to_string(number);
}

void LogComponent::AddNewRecord() {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
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

void LogComponent::AppendRow() {
  Row row;
  row.number = ++row_number_;
  row.start = texts_.size();
  row.set = row_set_;
  for (std::size_t column = 0; column < kColumns; ++column) {
    if (!row.set[column]) continue;
    row.lengths[column] = row_texts_[column].size();
    texts_ += row_texts_[column];
  }
  rows_.push_back(row);
}

void LogComponent::UpdateRecord() {
  if (!in_row_) throw RuntimeError(ErrorNumber::kInvalidProcedureCall);
  in_row_ = false;
  Connection& connection = RequireConnection(connection_);
  const std::lock_guard lock(connection.CallMutex());
  AppendRow();
  const std::size_t kept_back = rows_.size() - stored_;
  // Where others are kept back already, it goes with them.
  if (is_kept_back_ && kept_back < kMostKeptBack) return;
  GroupedWrites& group = GroupedWrites::Of(connection);
  group.Store(*this, GroupedWrites::Record::kOneStatement, [&] {
    if (group.MayWriteBehind() && kept_back < kMostKeptBack) {
      group.WriteBehind(*this);
      is_kept_back_ = true;
    } else {
      StoreRows();
    }
  });
}

void LogComponent::FlushRows() {
  is_kept_back_ = false;
  StoreRows();
}

void LogComponent::StoreRows() {
  while (stored_ < rows_.size()) StoreSome(std::min(rows_.size() - stored_, kMostKeptBack));
}

void LogComponent::StoreSome(std::size_t count) {
  Connection& connection = RequireConnection(connection_);
  std::unique_ptr<Statement>& insert = inserts_[count];
  if (insert == nullptr) insert = connection.Prepare(InsertText(connection, count));
  std::size_t parameter = 0;
  for (std::size_t i = stored_; i < stored_ + count; ++i) {
    const Row& row = rows_[i];
    insert->BindInteger(parameter++, number_ * kRowsPerLog + row.number);
    insert->BindInteger(parameter++, number_);
    std::size_t start = row.start;
    for (std::size_t column = 0; column < kColumns; ++column) {
      if (row.set[column]) {
        insert->BindText(parameter++, std::string_view(texts_).substr(start, row.lengths[column]));
        start += row.lengths[column];
      } else {
        insert->BindNull(parameter++);
      }
    }
  }
  insert->Execute();
  stored_ += count;
}

void LogComponent::GroupCommitted() {
  if (stored_ == rows_.size()) {
    rows_.clear();
    texts_.clear();
  } else {
    // Their texts go with those that are left.
    rows_.erase(rows_.begin(), rows_.begin() + static_cast<std::ptrdiff_t>(stored_));
  }
  stored_ = 0;
}

bool LogComponent::GroupLost(const RuntimeError&) {
  stored_ = 0;
  is_kept_back_ = !rows_.empty();
  return is_kept_back_;
}

void LogComponent::Flush() {
  if (connection_ == nullptr) return;
  Connection& connection = RequireConnection(connection_);
  const std::lock_guard lock(connection.CallMutex());
  if (rows_.empty()) return;
  GroupedWrites& group = GroupedWrites::Of(connection);
  if (stored_ < rows_.size()) group.WriteBehind(*this);
  group.Flush();
}

LogComponent::~LogComponent() {
  if (connection_ == nullptr) return;
  Trap([this] { Flush(); }, [](const RuntimeError&) {});
  GroupedWrites::Leave(RequireConnection(connection_), *this);
}

}  // namespace kestrel::host
