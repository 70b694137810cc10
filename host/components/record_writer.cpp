#include "components/record_writer.h"

#include <utility>

namespace kestrel::host {

namespace {

constexpr std::array<std::string_view, 6> kAddressFields = {"PLZ", "Ort", "Strasse", "Bez1", "Bez2", "Bez3"};
// How often a number that somebody else took meanwhile is chosen anew.
constexpr int kNumberAttempts = 3;

}  // namespace

RecordWriter::RecordWriter(Connection& connection, const Destination& destination,
                           std::shared_ptr<KeyMemory> keys)
    : connection_(connection), destination_(destination), group_(GroupedWrites::Of(connection)) {
  const auto& fields = destination_.fields;
  const std::string& number = fields[destination_.number_field].column;
  std::string columns;
  std::string marks;
  for (const DestinationField& field : fields) {
    columns += (columns.empty() ? "" : ", ") + field.column;
    marks += marks.empty() ? "?" : ", ?";
  }
  insert_ = connection_.Prepare("INSERT INTO " + destination_.table + " (" + columns + ") VALUES (" + marks +
                                ") ON CONFLICT (" + number + ") DO NOTHING");
  remove_ = connection_.Prepare("DELETE FROM " + destination_.table + " WHERE " + number + " = ?");
  cells_.resize(fields.size());
  if (destination_.address_type == 0) return;
  index_.emplace(connection_, destination_.address_type, std::move(keys));
  for (std::size_t i = 0; i < kAddressFields.size(); ++i) {
    address_fields_[i] = destination_.FindField(kAddressFields[i]);
  }
}

void RecordWriter::Bind(Statement& statement, std::size_t parameter, const StoredValue& value) {
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

void RecordWriter::Convert(const Recordset& record, const std::vector<std::size_t>& columns) {
  for (Cell& cell : cells_) cell.value = std::monostate();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (record.IsNull(column)) continue;
    Cell& cell = cells_[columns[column]];
    cell.value = ConvertFieldText(destination_.fields[columns[column]], record.TextAt(column), cell.date);
  }
}

std::int64_t RecordWriter::NextNumber() {
  // Within one group nobody else can have added a record.
  if (numbered_in_ != group_.Generation()) {
    const std::string& number = destination_.fields[destination_.number_field].column;
    const RecordsetPtr greatest =
        connection_.OpenRecordset("SELECT max(" + number + ") FROM " + destination_.table);
    const std::int64_t last = greatest->IsNull(0) ? 0 : greatest->ValueAt(0).ToInteger();
    if (last == INT64_MAX) throw RuntimeError(ErrorNumber::kOverflow, "Es ist keine Nummer mehr frei.");
    next_number_ = last < 0 ? 1 : last + 1;
    numbered_in_ = group_.Generation();
  }
  return next_number_;
}

std::string_view RecordWriter::TextOf(const std::optional<std::size_t>& field) const {
  if (!field) return {};
  const auto* text = std::get_if<std::string_view>(&cells_[*field].value);
  return text == nullptr ? std::string_view() : *text;
}

IndexedAddress RecordWriter::GivenAddress() const {
  return {TextOf(address_fields_[0]),
          TextOf(address_fields_[1]),
          TextOf(address_fields_[2]),
          {TextOf(address_fields_[3]), TextOf(address_fields_[4]), TextOf(address_fields_[5])},
          TextOf(destination_.group_field)};
}

void RecordWriter::InsertRow(std::int64_t number, bool& inserted) {
  cells_[destination_.number_field].value = number;
  for (std::size_t i = 0; i < cells_.size(); ++i) Bind(*insert_, i, cells_[i].value);
  inserted = insert_->Execute() != 0;
  if (!inserted) return;
  if (number >= next_number_ && number < INT64_MAX) next_number_ = number + 1;
  if (!index_ || !index_->IsKept()) return;
  try {
    index_->Write(number, GivenAddress());
  } catch (const RuntimeError&) {
    group_.TakeBack([&] {
      remove_->BindInteger(0, number);
      remove_->Execute();
    });
    throw;
  }
}

// False where the record has a number of its own that exists.
bool RecordWriter::InsertNew() {
  bool inserted = false;
  group_.Store(GroupedWrites::Record::kOneStatement, [&] {
    const auto* given = std::get_if<std::int64_t>(&cells_[destination_.number_field].value);
    if (given != nullptr) {
      InsertRow(*given, inserted);
      return;
    }
    for (int attempt = 0; attempt < kNumberAttempts && !inserted; ++attempt) {
      InsertRow(NextNumber(), inserted);
      if (!inserted) numbered_in_.reset();
    }
    if (!inserted) throw RuntimeError(ErrorNumber::kDatabase, "Es konnte keine freie Nummer vergeben werden.");
  });
  return inserted;
}

Statement& RecordWriter::UpdateFor(const std::vector<bool>& given) {
  std::unique_ptr<Statement>& statement = updates_[given];
  if (statement == nullptr) {
    std::string sets;
    for (std::size_t i = 0; i < given.size(); ++i) {
      if (given[i]) sets += (sets.empty() ? "" : ", ") + destination_.fields[i].column + " = ?";
    }
    statement = connection_.Prepare("UPDATE " + destination_.table + " SET " + sets + " WHERE " +
                                    destination_.fields[destination_.number_field].column + " = ?");
  }
  return *statement;
}

void RecordWriter::IndexStoredRow(std::int64_t number) {
  if (select_address_ == nullptr) {
    std::string columns;
    const auto add = [&](const std::optional<std::size_t>& field) {
      columns += (columns.empty() ? "" : ", ") + (field ? destination_.fields[*field].column : "NULL");
    };
    for (const auto& field : address_fields_) add(field);
    add(destination_.group_field);
    select_address_ = connection_.Prepare("SELECT " + columns + " FROM " + destination_.table + " WHERE " +
                                          destination_.fields[destination_.number_field].column + " = ?");
  }
  select_address_->BindInteger(0, number);
  const RecordsetPtr row = select_address_->Open();
  if (row->IsEof()) return;
  index_->Write(number, {row->TextAt(0),
                         row->TextAt(1),
                         row->TextAt(2),
                         {row->TextAt(3), row->TextAt(4), row->TextAt(5)},
                         row->TextAt(6)});
}

void RecordWriter::UpdateExisting() {
  const std::int64_t number = std::get<std::int64_t>(cells_[destination_.number_field].value);
  std::vector<bool> given(cells_.size());
  std::size_t count = 0;
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    given[i] = i != destination_.number_field && !std::holds_alternative<std::monostate>(cells_[i].value);
    if (given[i]) ++count;
  }
  if (count == 0) return;
  group_.Store(GroupedWrites::Record::kSeveralStatements, [&] {
    Statement& update = UpdateFor(given);
    std::size_t parameter = 0;
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      if (given[i]) Bind(update, parameter++, cells_[i].value);
    }
    update.BindInteger(parameter, number);
    update.Execute();
    if (index_ && index_->IsKept()) IndexStoredRow(number);
  });
}

void RecordWriter::Store(const Recordset& record, const std::vector<std::size_t>& columns) {
  Convert(record, columns);
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const auto& value = cells_[i].value;
    if (!destination_.fields[i].obligation || i == destination_.number_field) continue;
    const auto* text = std::get_if<std::string_view>(&value);
    if (std::holds_alternative<std::monostate>(value) || (text != nullptr && text->empty())) {
      throw RuntimeError(ErrorNumber::kInvalidUseOfNull,
                         "Das Pflichtfeld '" + destination_.fields[i].name + "' ist leer.");
    }
  }
  if (!InsertNew()) UpdateExisting();
}

}  // namespace kestrel::host
