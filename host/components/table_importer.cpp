#include "components/table_importer.h"

#include <mutex>
#include <numeric>

#include "schema/host_schema.h"

namespace kestrel::host {

namespace {

std::shared_ptr<MemoryRecordset> EmptyFieldList() {
  auto fields = std::make_shared<MemoryRecordset>();
  fields->AppendColumn("FieldName");
  fields->AppendColumn("Obligation", ColumnType::kBool);
  fields->AppendColumn("RowSourceTyp", ColumnType::kInt16);
  fields->AppendColumn("RowSource");
  fields->AppendColumn("Size", ColumnType::kInt16);
  fields->AppendColumn("FieldTyp");
  fields->AppendColumn("DateField", ColumnType::kBool);
  return fields;
}

}  // namespace

void TableImporter::Bind(Members& members) {
  members.Set("Connection", &TableImporter::SetConnection);
  members.Let("PersonalNr", &TableImporter::SetPersonalNr);
  members.Let("Application", &TableImporter::SetApplication);
  members.Let("SpecificationFile", &TableImporter::SetSpecificationFile);
  members.Get("HasConfig", &TableImporter::HasConfig);
  members.Method("ShowConfig", &TableImporter::ShowConfig);
  members.Method("GetFields", &TableImporter::GetFields);
  members.Method("BeforeImport", &TableImporter::BeforeImport);
  members.Method("GetNewRecord", &TableImporter::GetNewRecord);
  members.Method("ImportRecord", &TableImporter::ImportRecord);
  members.Method("NextLateError", &TableImporter::NextLateError);
  members.Method("AfterImport", &TableImporter::AfterImport);
  members.Get("ErrorCode", &TableImporter::ErrorCode);
  members.Get("ErrorDescription", &TableImporter::ErrorDescription);
}

template <class Step>
void TableImporter::Guard(Step&& step) {
  error_code_ = 0;
  error_description_.clear();
  Trap(std::forward<Step>(step), [this](const RuntimeError& error) {
    error_code_ = error.Number();
    error_description_ = error.Description();
  });
}

void TableImporter::SetConnection(const ObjectPtr& connection) {
  RequireConnection(connection);
  Forget();
  connection_ = connection;
}

Connection& TableImporter::OpenConnection() const { return RequireConnection(connection_); }

void TableImporter::Forget() {
  writer_.reset();
  target_.reset();
  record_.reset();
}

const Destination& TableImporter::Target() {
  if (target_ == nullptr) target_ = std::make_unique<Destination>(LoadDestination(OpenConnection(), prog_id_));
  return *target_;
}

RecordWriter& TableImporter::Writer() {
  if (writer_ == nullptr) writer_ = std::make_unique<RecordWriter>(OpenConnection(), Target(), keys_);
  return *writer_;
}

ObjectPtr TableImporter::GetFields() {
  const auto fields = EmptyFieldList();
  Guard([&] {
    for (const DestinationField& field : Target().fields) {
      fields->AddNew();
      fields->SetText(0, field.name);
      fields->SetValue(1, field.obligation);
      fields->SetValue(2, field.row_source_typ);
      fields->SetText(3, field.row_source);
      fields->SetValue(4, field.size);
      fields->SetText(5, field.type);
      fields->SetValue(6, field.date);
    }
    fields->MoveFirst();
  });
  return fields;
}

void TableImporter::BeforeImport(bool&) {
  Guard([this] {
    Forget();
    RestoreAddressIndexes(OpenConnection());
    Writer();
  });
}

ObjectPtr TableImporter::GetNewRecord() {
  Guard([this] {
    if (record_ != nullptr) {
      record_->MoveFirst();
      record_->ClearRow();
      return;
    }
    const Destination& target = Target();
    record_ = std::make_shared<MemoryRecordset>();
    // Without sizes: what does not fit is refused by ImportRecord, which can tell the field.
    for (const DestinationField& field : target.fields) record_->AppendColumn(field.name);
    record_->AddNew();
    record_columns_.resize(target.fields.size());
    std::iota(record_columns_.begin(), record_columns_.end(), std::size_t{0});
  });
  return record_;
}

std::vector<std::size_t> TableImporter::ColumnsOf(const Recordset& record) {
  std::vector<std::size_t> columns;
  for (std::size_t column = 0; column < record.ColumnCount(); ++column) {
    const auto field = Target().FindField(record.ColumnName(column));
    if (!field) {
      throw RuntimeError(ErrorNumber::kColumnNotFound, "Das Importziel '" + prog_id_ + "' hat kein Feld '" +
                                                           std::string(record.ColumnName(column)) + "'.");
    }
    columns.push_back(*field);
  }
  return columns;
}

void TableImporter::ImportRecord(const Value& record) {
  Guard([&] {
    const ObjectPtr object = record.ToObject();
    if (record_ != nullptr && object == record_) {
      Writer().Store(*record_, record_columns_);
      return;
    }
    const RecordsetPtr foreign = ToRecordset(record);
    Writer().Store(*foreign, ColumnsOf(*foreign));
  });
  TellLateError();
}

void TableImporter::TellLateError() {
  if (writer_ == nullptr || !writer_->CanFailLate()) return;
  const std::lock_guard lock(OpenConnection().CallMutex());
  std::deque<RuntimeError>& late = writer_->LateErrors();
  if (late.empty()) return;
  if (error_code_ != 0) late.emplace_back(error_code_, error_description_);
  error_code_ = late.front().Number();
  error_description_ = late.front().Description();
  late.pop_front();
}

bool TableImporter::NextLateError() {
  Guard([this] {
    if (connection_ != nullptr) Finish();
  });
  TellLateError();
  return error_code_ != 0;
}

void TableImporter::Finish() { GroupedWrites::Of(OpenConnection()).Settle(); }

void TableImporter::AfterImport() {
  Guard([this] { Finish(); });
}

}  // namespace kestrel::host
