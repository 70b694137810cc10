#include "components/ledger_component.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "kestrel/memory_recordset.h"
#include "ledger/run_records.h"
#include "ledger/run_state.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

std::shared_ptr<MemoryRecordset> EmptyRows(std::initializer_list<MemoryRecordset::Column> columns) {
  auto rows = std::make_shared<MemoryRecordset>();
  for (const MemoryRecordset::Column& column : columns) rows->AppendColumn(column.name, column.type);
  return rows;
}

// What is committed of a run that has not told its end, be it at work or one that nobody could mark yet.
std::string CountOf(std::string_view column, std::string_view event) {
  std::string text = "CASE WHEN Zustand = '" + std::string(kRunning) +
                     "' THEN (SELECT CAST(coalesce(sum(Anzahl), 0) AS bigint) FROM Importlaufzeilen "
                     "WHERE ZeilenNr > Importlauf.LaufNr * " +
                     std::to_string(kRowsPerRun) + " AND ZeilenNr < (Importlauf.LaufNr + 1) * " +
                     std::to_string(kRowsPerRun);
  if (!event.empty()) text.append(" AND Ereignis = '").append(event).append("'");
  return text.append(") ELSE ").append(column).append(" END AS \"").append(column).append("\", ");
}

// Named as in the table, also where the database makes small letters of names. A run that has not told its end leaves
// open how many errors there were, and what was cut.
const std::string kColumnsOfRuns =
    " AS \"Zustand\", ProgID AS \"ProgID\", "
    "CASE WHEN Tabelle LIKE 'public.%' THEN substr(Tabelle, 8) ELSE Tabelle END AS \"Tabelle\", "
    "Spalten AS \"Spalten\", Spezifikation AS \"Spezifikation\", Pruefsumme AS \"Pruefsumme\", "
    "Quelle AS \"Quelle\", Quellgroesse AS \"Quellgroesse\", Quellzeit AS \"Quellzeit\", "
    "Benutzer AS \"Benutzer\", Beginn AS \"Beginn\", Ende AS \"Ende\", " +
    CountOf("Gelesen", "") + CountOf("Neu", kNew) + CountOf("Aktualisiert", kUpdated) +
    CountOf("Zurueckgehalten", kHeldBack) + CountOf("Abgewiesen", kRejected) +
    "CASE WHEN Ende IS NOT NULL THEN Fehler END AS \"Fehler\", "
    "CASE WHEN Ende IS NOT NULL THEN Gekuerzt END AS \"Gekuerzt\", GekuerzteFelder AS \"GekuerzteFelder\" "
    "FROM Importlauf ORDER BY LaufNr";

std::string SelectRuns(Connection& connection) {
  std::string broken_off;
  for (const std::int64_t run : connection.attachments().Of<UnmarkedRuns>(connection).numbers) {
    broken_off += (broken_off.empty() ? "" : ", ") + std::to_string(run);
  }
  const std::string state = broken_off.empty() ? "Zustand"
                                               : "CASE WHEN LaufNr IN (" + broken_off + ") AND Zustand = '" +
                                                     std::string(kRunning) + "' THEN '" +
                                                     std::string(kBrokenOff) + "' ELSE Zustand END";
  return "SELECT LaufNr AS \"LaufNr\", " + state + kColumnsOfRuns;
}

}  // namespace

void LedgerComponent::Bind(Members& members) {
  members.Set("Connection", &LedgerComponent::SetConnection);
  members.Method("Runs", &LedgerComponent::Runs);
  members.Method("LastRuns", &LedgerComponent::LastRuns);
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
  RequireTable(RequireHost(connection), "Importlaufzeilen");
  undo_.reset();
  connection_ = connection;
}

ObjectPtr LedgerComponent::Runs() {
  Connection& connection = RequireConnection(connection_);
  return connection.OpenRecordset(SelectRuns(connection));
}

ObjectPtr LedgerComponent::LastRuns(std::int64_t most) {
  Connection& connection = RequireConnection(connection_);
  const auto select = connection.Prepare(SelectRuns(connection) + " DESC LIMIT ?");
  select->BindInteger(0, most + 1);
  return select->Open();
}

ObjectPtr LedgerComponent::Records(std::int64_t run, std::optional<std::int64_t> most) {
  return RecordsOfRun(RequireConnection(connection_), run, most);
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
