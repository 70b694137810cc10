#include "components/target_component.h"

#include "components/table_importer.h"
#include "kestrel/memory_recordset.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "schema/database_roles.h"
#include "schema/own_tables.h"
#include "targets/target_check.h"

namespace kestrel::host {

namespace {

ObjectPtr RowsOf(const std::vector<TargetRemark>& remarks) {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const char* column : {"Spalte", "Text"}) rows->AppendColumn(column);
  for (const TargetRemark& remark : remarks) {
    rows->AddNew();
    rows->SetText(0, remark.column);
    rows->SetText(1, remark.text);
  }
  if (!remarks.empty()) rows->MoveFirst();
  return rows;
}

const char* KeyPartOf(const Destination& destination, std::size_t field) {
  constexpr const char* kParts[] = {"Postleitzahl", "Ort", "Straße", "Name", "Name", "Name"};
  for (std::size_t part = 0; part < kKeyParts; ++part) {
    if (destination.key_fields[part] == field) return kParts[part];
  }
  return "";
}

const char* TypeOf(const DestinationField& field) {
  switch (field.kind) {
    case FieldKind::kWhole: return "ganze Zahl";
    case FieldKind::kReal: return "Zahl";
    case FieldKind::kDate: return "Datum";
    case FieldKind::kTruth: return "ja/nein";
    case FieldKind::kText: break;
  }
  return "Text";
}

}  // namespace

void RegisterImporter(ComponentRegistry& registry, const std::string& prog_id,
                      const std::shared_ptr<KeyMemory>& keys) {
  registry.Register(
      prog_id, [prog_id, keys, &registry] { return std::make_shared<TableImporter>(prog_id, keys, registry); });
}

void AnnounceTargets(ComponentRegistry& registry, Connection& connection,
                     const std::shared_ptr<KeyMemory>& keys) {
  for (const TargetSummary& target : Targets(connection)) RegisterImporter(registry, target.prog_id, keys);
}

void TargetComponent::Bind(Members& members) {
  members.Set("Connection", &TargetComponent::SetConnection);
  members.Method("SetKeys", &TargetComponent::SetKeys);
  members.Method("Add", &TargetComponent::Add);
  members.Method("Edit", &TargetComponent::Edit);
  members.Method("Remove", &TargetComponent::Remove);
  members.Method("Runs", &TargetComponent::Runs);
  members.Method("List", &TargetComponent::List);
  members.Method("Fields", &TargetComponent::Fields);
  members.Method("Check", &TargetComponent::Check);
  members.Method("WriteTemplate", &TargetComponent::WriteTemplate);
  members.Method("StartIndex", &TargetComponent::StartIndex);
  members.Method("NextIndex", &TargetComponent::NextIndex);
  members.Get("IndexTotal", &TargetComponent::IndexTotal);
  members.Get("IndexDone", &TargetComponent::IndexDone);
  members.Get("IndexMissing", &TargetComponent::IndexMissing);
  members.Get("IndexChanged", &TargetComponent::IndexChanged);
  members.Get("IndexOrphaned", &TargetComponent::IndexOrphaned);
  members.Get("IndexUnfit", &TargetComponent::IndexUnfit);
}

void TargetComponent::SetConnection(const ObjectPtr& connection) {
  RequireHost(connection);
  index_.reset();
  connection_ = connection;
}

void TargetComponent::SetKeys(std::string_view names, std::string_view street, std::string_view postcode,
                              std::string_view town, bool is_off) {
  key_columns_ = {{}, std::string(street), std::string(postcode), std::string(town), is_off};
  for (const std::string_view name : Split(names, '\n')) {
    if (!name.empty()) key_columns_.names.emplace_back(name);
  }
}

ObjectPtr TargetComponent::Add(std::string_view name, std::string_view table) {
  auto remarks = AddTarget(OpenConnection(), {std::string(name), std::string(table), key_columns_});
  AnnounceTargets(components_, OpenConnection(), keys_);
  TellGrants(remarks);
  return RowsOf(remarks);
}

ObjectPtr TargetComponent::Edit(std::string_view name, std::string_view table) {
  auto remarks = EditTarget(OpenConnection(), {std::string(name), std::string(table), key_columns_});
  TellGrants(remarks);
  return RowsOf(remarks);
}

void TargetComponent::TellGrants(std::vector<TargetRemark>& remarks) {
  if (std::string left = GrantRoles(OpenConnection(), MissingRoles::kPassOver); !left.empty()) {
    remarks.push_back({"", std::move(left)});
  }
}

void TargetComponent::Remove(std::string_view name, bool with_runs) {
  index_.reset();
  RemoveTarget(OpenConnection(), name, with_runs ? Runs::kRemove : Runs::kKeep);
}

std::int64_t TargetComponent::Runs(std::string_view name) {
  return RunsOfTarget(OpenConnection(), RequireTarget(OpenConnection(), name).name);
}

ObjectPtr TargetComponent::List() {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const char* column : {"Name", "ProgID", "Tabelle"}) rows->AppendColumn(column);
  for (const char* column : {"Felder", "Adressart"}) rows->AppendColumn(column, ColumnType::kInt64);
  rows->AppendColumn("InAnweisungen");
  rows->AppendColumn("Anwendung", ColumnType::kInt64);
  for (const TargetSummary& target : Targets(OpenConnection())) {
    rows->AddNew();
    rows->SetText(0, target.name);
    rows->SetText(1, target.prog_id);
    rows->SetText(2, target.table);
    rows->SetValue(3, target.fields);
    rows->SetValue(4, std::int64_t{target.address_type});
    rows->SetText(5, target.statement_table);
    rows->SetValue(6, target.application);
  }
  if (rows->RecordCount() != 0) rows->MoveFirst();
  return rows;
}

ObjectPtr TargetComponent::Fields(std::string_view name) {
  const TargetSummary target = RequireTarget(OpenConnection(), name);
  const Destination destination = LoadDestination(OpenConnection(), target.prog_id);
  auto rows = std::make_shared<MemoryRecordset>();
  for (const char* column :
       {"Feld", "Typ", "Laenge", "Pflicht", "Schluessel", "Vorgabe", "Auswahl", "InAnweisungen"}) {
    rows->AppendColumn(column);
  }
  for (std::size_t i = 0; i < destination.fields.size(); ++i) {
    const DestinationField& field = destination.fields[i];
    const bool has_length = field.kind == FieldKind::kText && field.size > 0;
    rows->AddNew();
    std::size_t column = 0;
    for (const std::string& text :
         {field.name, std::string(TypeOf(field)), has_length ? std::to_string(field.size) : std::string(),
          std::string(field.obligation ? "ja" : ""),
          std::string(i == destination.number_field ? "Nummer" : KeyPartOf(destination, i)), field.preset,
          std::string(field.row_source.empty() ? "" : "ja"), field.column}) {
      rows->SetText(column++, text);
    }
  }
  rows->MoveFirst();
  return rows;
}

ObjectPtr TargetComponent::Check(std::string_view name) { return RowsOf(CheckTarget(OpenConnection(), name)); }

std::string TargetComponent::WriteTemplate(std::string_view name, const std::string& folder) {
  return WriteTemplateOf(OpenConnection(), name, folder);
}

void TargetComponent::StartIndex(std::string_view name, bool repairs) {
  index_.reset();
  const TargetSummary target = RequireTarget(OpenConnection(), name);
  if (target.address_type == 0) return;
  indexed_ = LoadDestination(OpenConnection(), target.prog_id);
  index_ = std::make_unique<AddressReindex>(OpenConnection(), *indexed_,
                                            repairs ? AddressReindex::Way::kRepair : AddressReindex::Way::kLook,
                                            std::make_shared<KeyMemory>());
}

}  // namespace kestrel::host
