#include "components/ledger_component.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "kestrel/memory_recordset.h"
#include "ledger/run_state.h"
#include "schema/destination.h"

namespace kestrel::host {

namespace {

std::shared_ptr<MemoryRecordset> EmptyRows(std::initializer_list<MemoryRecordset::Column> columns) {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const MemoryRecordset::Column& column : columns) rows->AppendColumn(column.name, column.type);
  return rows;
}

// The records of a run, row by row.
class RecordRows {
 public:
  void AddBlock(const Recordset& row) {
    event_ = row.TextAt(0);
    table_ = row.TextAt(5);
    has_numbers_ = !row.IsNull(3);
    LedgerBlockReader reader(row.TextAt(6));
    bool is_first = true;
    while (reader.Next()) {
      const bool goes_on = !is_first && reader.record() == last_record_ + 1 &&
                           (!has_numbers_ || reader.number() == last_number_ + 1);
      AddEntry(reader, goes_on);
      is_first = false;
    }
    // What was taken back left only the range that it lay in.
    if (is_first) AddRow(row.ValueAt(1), row.ValueAt(2), row.ValueAt(3), row.ValueAt(4));
  }

  std::shared_ptr<MemoryRecordset> Take() {
    rows_->MoveFirst();
    return rows_;
  }
  void NameFields(std::vector<std::string> fields) { fields_ = std::move(fields); }

 private:
  void AddEntry(LedgerBlockReader& reader, bool goes_on) {
    last_record_ = reader.record();
    last_number_ = reader.number();
    std::optional<std::size_t> field = event_ == kUpdated ? reader.ReadChange() : std::nullopt;
    const Value number = has_numbers_ ? Value(last_number_) : Value(kNull);
    if (goes_on && event_ != kUpdated) {
      rows_->SetValue(1, last_record_);
      rows_->SetValue(5, number);
      return;
    }
    do {
      AddRow(last_record_, last_record_, number, number);
      if (!field) return;
      if (*field < fields_.size()) rows_->SetText(6, fields_[*field]);
      rows_->SetText(7, ShownValue(reader.Read()));
      rows_->SetText(8, ShownValue(reader.Read()));
      field = reader.ReadChange();
    } while (field);
  }

  void AddRow(const Value& record, const Value& last_record, const Value& number, const Value& last_number) {
    rows_->AddNew();
    rows_->SetValue(0, record);
    rows_->SetValue(1, last_record);
    rows_->SetText(2, event_);
    rows_->SetText(3, table_);
    rows_->SetValue(4, number);
    rows_->SetValue(5, last_number);
  }

  std::shared_ptr<MemoryRecordset> rows_ = EmptyRows({{"Datensatz", ColumnType::kInt64},
                                                      {"BisDatensatz", ColumnType::kInt64},
                                                      {"Ereignis"},
                                                      {"Tabelle"},
                                                      {"Nummer", ColumnType::kInt64},
                                                      {"BisNummer", ColumnType::kInt64},
                                                      {"Feld"},
                                                      {"Vorher"},
                                                      {"Importiert"}});
  std::vector<std::string> fields_;
  std::string event_;
  std::string table_;
  bool has_numbers_ = false;
  std::int64_t last_record_ = 0;
  std::int64_t last_number_ = 0;
};

std::vector<std::string> SplitColumns(std::string_view columns) {
  std::vector<std::string> names;
  for (std::size_t start = 0; start <= columns.size();) {
    const std::size_t end = std::min(columns.find(',', start), columns.size());
    names.emplace_back(columns.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

}  // namespace

void LedgerComponent::Bind(Members& members) {
  members.Set("Connection", &LedgerComponent::SetConnection);
  members.Method("Runs", &LedgerComponent::Runs);
  members.Method("Records", &LedgerComponent::Records);
  members.Method("StartUndo", &LedgerComponent::StartUndo);
  members.Method("NextUndo", &LedgerComponent::NextUndo);
  members.Get("UndoTotal", &LedgerComponent::UndoTotal);
  members.Get("UndoDone", &LedgerComponent::UndoDone);
  members.Get("Removed", &LedgerComponent::Removed);
  members.Get("Restored", &LedgerComponent::Restored);
  members.Method("LeftAlone", &LedgerComponent::LeftAlone);
}

void LedgerComponent::SetConnection(const ObjectPtr& connection) {
  RequireConnection(connection);
  undo_.reset();
  connection_ = connection;
}

ObjectPtr LedgerComponent::Runs() {
  return RequireConnection(connection_).OpenRecordset("SELECT * FROM Importlauf ORDER BY LaufNr");
}

ObjectPtr LedgerComponent::Records(std::int64_t run) {
  Connection& connection = RequireConnection(connection_);
  RecordRows rows;
  const auto columns = connection.Prepare("SELECT Spalten FROM Importlauf WHERE LaufNr = ?");
  columns->BindInteger(0, run);
  const RecordsetPtr found = columns->Open();
  if (!found->IsEof()) rows.NameFields(SplitColumns(found->TextAt(0)));
  const auto select = connection.Prepare(
      "SELECT Ereignis, Datensatz, BisDatensatz, Nummer, BisNummer, Tabelle, Werte FROM Importlaufzeilen "
      "WHERE " +
      std::string(kOfRun) + " ORDER BY Datensatz, ZeilenNr");
  BindRun(*select, 0, run);
  for (const RecordsetPtr blocks = select->Open(); !blocks->IsEof(); blocks->MoveNext()) rows.AddBlock(*blocks);
  return rows.Take();
}

void LedgerComponent::StartUndo(std::int64_t run, bool is_trial, bool takes_changes) {
  undo_.reset();
  undo_ = std::make_unique<RunUndo>(RequireConnection(connection_), run,
                                    RunUndo::Options{.is_trial = is_trial, .takes_changes = takes_changes});
}

RunUndo& LedgerComponent::Undo() const {
  if (undo_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  return *undo_;
}

bool LedgerComponent::NextUndo() { return Undo().Next(); }

ObjectPtr LedgerComponent::LeftAlone() const {
  const auto rows = EmptyRows({{"Datensatz", ColumnType::kInt64},
                               {"Nummer", ColumnType::kInt64},
                               {"Feld"},
                               {"Vorher"},
                               {"Importiert"},
                               {"Jetzt"}});
  std::vector<host::LeftAlone> left = Undo().left_alone();
  std::stable_sort(left.begin(), left.end(),
                   [](const auto& one, const auto& other) { return one.record < other.record; });
  for (const host::LeftAlone& row : left) {
    rows->AddNew();
    rows->SetValue(0, row.record);
    rows->SetValue(1, row.number);
    std::size_t column = 2;
    for (const std::string* text : {&row.field, &row.before, &row.imported, &row.now}) {
      rows->SetText(column++, *text);
    }
  }
  rows->MoveFirst();
  return rows;
}

}  // namespace kestrel::host
