// Commands for the ledger of imports that the host keeps: what they did, and taking one back.
//
//   kestrelhost.RunLedger   Connection (set); Runs and Records(run): record sets; StartUndo(run, trial, take changes),
//                           NextUndo: true while there is more; UndoTotal, UndoDone, Removed, Restored; LeftAlone: a
//                           record set
#include <ostream>
#include <span>
#include <utility>

#include "cli/progress_line.h"
#include "cli/told_waits.h"
#include "kestrel/recordset.h"
#include "platform/base/counted.h"
#include "platform/base/number.h"

namespace kestrel::cli {

namespace {

ObjectPtr OpenLedger(Workspace& workspace) {
  workspace.OpenHost();
  ObjectPtr ledger;
  Trap(
      [&] {
        ledger = workspace.components().CreateObject("kestrelhost.RunLedger");
        SetProperty(ledger, "Connection", workspace.session().HostConnection);
      },
      [](const RuntimeError& error) {
        throw NotUsable("Die Hauptanwendung führt kein Verzeichnis der Importläufe. " + error.Description());
      });
  return ledger;
}

std::string TextOf(const Recordset& row, const char* column) {
  return std::string(row.TextAt(row.RequireColumn(column)));
}

// A column of the ledger, its title and its key for JSON.
struct LedgerColumn {
  const char* name;
  const char* title;
  const char* key;
  JsonKind kind = JsonKind::kText;
};

constexpr LedgerColumn kRunColumns[] = {
    {"LaufNr", "Lauf", "run", JsonKind::kNumber},
    {"Zustand", "Zustand", "state"},
    {"Beginn", "Beginn", "begin"},
    {"Ende", "Ende", "end", JsonKind::kOptional},
    {"Tabelle", "Tabelle", "table"},
    {"Gelesen", "Gelesen", "read", JsonKind::kNumber},
    {"Neu", "Neu", "storedNew", JsonKind::kNumber},
    {"Aktualisiert", "Geändert", "updated", JsonKind::kNumber},
    {"Zurueckgehalten", "Zurückgehalten", "heldBack", JsonKind::kNumber},
    {"Abgewiesen", "Abgewiesen", "rejected", JsonKind::kNumber},
    {"Fehler", "Fehler", "errors", JsonKind::kNumber},
    {"Gekuerzt", "Gekürzt", "cutValues", JsonKind::kNumber},
    {"GekuerzteFelder", "Gekürzt in", "cutIn", JsonKind::kOptional},
    {"Benutzer", "Benutzer", "user", JsonKind::kOptional},
    {"Spezifikation", "Spezifikation", "specification"},
    {"Pruefsumme", "Prüfsumme", "checksum", JsonKind::kOptional},
    {"Quelle", "Quelle", "source"},
    {"Quellgroesse", "Größe", "sourceSize", JsonKind::kNumber},
    {"Quellzeit", "Stand", "sourceTime", JsonKind::kOptional},
};
constexpr LedgerColumn kRecordColumns[] = {
    {"Datensatz", "Datensatz", "record", JsonKind::kNumber},
    {"BisDatensatz", "bis", "lastRecord", JsonKind::kNumber},
    {"Ereignis", "Ereignis", "event"},
    {"Tabelle", "Tabelle", "table", JsonKind::kOptional},
    {"Nummer", "Nummer", "number", JsonKind::kNumber},
    {"BisNummer", "bis", "lastNumber", JsonKind::kNumber},
    {"Feld", "Feld", "field", JsonKind::kOptional},
    {"Vorher", "Vorher", "before", JsonKind::kOptional},
    {"Importiert", "Importiert", "imported", JsonKind::kOptional},
};
constexpr LedgerColumn kLeftColumns[] = {
    {"Datensatz", "Datensatz", "record", JsonKind::kNumber},
    {"Nummer", "Nummer", "number", JsonKind::kNumber},
    {"Feld", "Feld", "field", JsonKind::kOptional},
    {"Vorher", "Vorher", "before", JsonKind::kOptional},
    {"Importiert", "Importiert", "imported", JsonKind::kOptional},
    {"Jetzt", "Jetzt", "now", JsonKind::kOptional},
};

void WriteJsonRow(std::ostream& out, const Recordset& row, std::span<const LedgerColumn> columns) {
  JsonObject object(out);
  for (const LedgerColumn& column : columns) {
    object.Value(column.key, column.kind, TextOf(row, column.name));
  }
  object.End();
}

// All rows from the current one on.
void WriteRows(Workspace& workspace, Recordset& rows, std::span<const LedgerColumn> columns) {
  if (workspace.options().format == OutputFormat::kJson) {
    for (; !rows.IsEof(); rows.MoveNext()) WriteJsonRow(workspace.out(), rows, columns);
    return;
  }
  std::vector<TableWriter::Column> titles;
  for (const LedgerColumn& column : columns) titles.push_back({column.title, column.key});
  TableWriter table(workspace.out(), workspace.look(), std::move(titles));
  for (; !rows.IsEof(); rows.MoveNext()) {
    std::vector<std::string> values;
    for (const LedgerColumn& column : columns) values.push_back(TextOf(rows, column.name));
    table.Row(std::move(values));
  }
}

// The runs, at the one of this number, or at the last.
RecordsetPtr FindRun(const RecordsetPtr& runs, std::optional<std::int64_t> number) {
  std::int64_t last = -1;
  for (; !runs->IsEof(); runs->MoveNext()) {
    const std::int64_t run = runs->ValueAt(0).ToInteger();
    if (run == number) return runs;
    last = run;
  }
  if (number || last < 0) {
    throw NotUsable(number ? "Der Importlauf " + std::to_string(*number) +
                                 " ist nicht verzeichnet. 'kestrel-import runs' zeigt alle."
                           : "Es ist noch kein Importlauf verzeichnet.");
  }
  runs->MoveFirst();
  return FindRun(runs, last);
}

void ShowRun(Workspace& workspace, const ObjectPtr& ledger, Recordset& run) {
  const std::int64_t number = run.ValueAt(0).ToInteger();
  if (workspace.options().format == OutputFormat::kText) {
    for (const LedgerColumn& column : kRunColumns) {
      const std::string text = TextOf(run, column.name);
      if (!text.empty()) workspace.out() << column.title << ": " << text << "\n";
    }
    workspace.out() << "\n";
  } else if (workspace.options().format == OutputFormat::kJson) {
    WriteJsonRow(workspace.out(), run, kRunColumns);
  }
  const RecordsetPtr records = ToRecordset(CallMethod(ledger, "Records", number));
  WriteRows(workspace, *records, kRecordColumns);
}

// Those that no change keeps: the sample host tells no field of them. The row at hand is the first again.
std::int64_t CountKept(Recordset& left) {
  constexpr std::size_t kField = 2;
  constexpr std::size_t kNow = 5;
  std::int64_t count = 0;
  const std::int64_t rows = left.RecordCount();
  for (std::int64_t row = 0; row < rows; ++row, left.MoveNext()) {
    if (left.TextAt(kField).empty() && !left.TextAt(kNow).empty()) ++count;
  }
  if (rows > 0) left.MoveFirst();
  return count;
}

}  // namespace

int RunsCommand(Workspace& workspace, const RunsOptions& options) {
  const ObjectPtr ledger = OpenLedger(workspace);
  const RecordsetPtr runs = ToRecordset(CallMethod(ledger, "Runs"));
  if (options.run || options.last) {
    ShowRun(workspace, ledger, *FindRun(runs, options.run));
  } else {
    // What a line has room for; one run is shown whole.
    constexpr std::size_t kOfAList = 12;
    const std::span<const LedgerColumn> all = kRunColumns;
    WriteRows(workspace, *runs, workspace.options().format == OutputFormat::kText ? all.first(kOfAList) : all);
  }
  return kDone;
}

int UndoCommand(Workspace& workspace, const UndoOptions& options) {
  const ObjectPtr ledger = OpenLedger(workspace);
  CallMethod(ledger, "StartUndo", options.run, options.dry_run, options.force);
  const auto number = [&](const char* member) { return GetProperty(ledger, member).ToInteger(); };
  ProgressLine progress(workspace, options.progress);
  const std::int64_t total = number("UndoTotal");
  bool is_stopped = false;
  const auto take_back = [&] {
    const StopSignals::Asking first_signal_asks(workspace.signals());
    const ToldWaits waits(workspace, [&] { progress.End(); });
    while (!is_stopped && CallMethod(ledger, "NextUndo").ToBool()) {
      const std::int64_t done = number("UndoDone");
      progress.SetInfo("Nehme Datensatz " + std::to_string(done) + " von " + std::to_string(total) + " zurück");
      progress.SetPercent(100.0 * static_cast<double>(done) / static_cast<double>(total));
      progress.Tick();
      is_stopped = workspace.signals().StopRequested();
    }
  };
  // The rest of a run; of a trial nothing stays.
  const std::string go_on =
      "'kestrel-import undo " + std::to_string(options.run) + "' setzt die Rücknahme fort.";
  Trap(take_back, [&](const RuntimeError& error) {
    // A wait that was stopped is an error of the database.
    is_stopped = workspace.signals().StopRequested();
    if (is_stopped) return;
    progress.End();
    throw NotUsable(error.Description() + workspace.WayToWriteHost() +
                    (options.dry_run ? "" : "\nNach der Abhilfe: " + go_on));
  });
  progress.End();
  const RecordsetPtr left = ToRecordset(CallMethod(ledger, "LeftAlone"));
  const bool is_any_left = !left->IsEof();
  const std::int64_t left_count = left->RecordCount();
  const std::int64_t kept_count = CountKept(*left);
  if (workspace.options().format == OutputFormat::kJson) {
    for (; !left->IsEof(); left->MoveNext()) WriteJsonRow(workspace.out(), *left, kLeftColumns);
    JsonObject(workspace.out())
        .Number("run", options.run)
        .Number("removed", number("Removed"))
        .Number("restored", number("Restored"))
        .Number("leftAlone", left_count)
        .Truth("dryRun", options.dry_run)
        .Truth("complete", !is_stopped)
        .End();
  } else {
    if (is_any_left) WriteRows(workspace, *left, kLeftColumns);
    const std::int64_t removed = number("Removed");
    workspace.err() << (!options.dry_run ? ""
                        : removed == 1   ? "Es würde "
                                         : "Es würden ")
                    << Counted(removed, "Adresse", "Adressen") << " gelöscht, "
                    << Counted(number("Restored"), "Adresse", "Adressen") << " wiederhergestellt, "
                    << Counted(left_count - kept_count, "Änderung", "Änderungen")
                    << " seit dem Import stehen gelassen."
                    << (left_count > kept_count ? " Auch sie nimmt --force zurück." : "");
    if (kept_count > 0) {
      workspace.err() << ' ' << Counted(kept_count, "Adresse bleibt", "Adressen bleiben")
                      << ", weil andere Tabellen sie verwenden oder die Datenbank sie festhält.";
    }
    workspace.err() << std::endl;
  }
  if (is_stopped) {
    workspace.err() << "Angehalten. " << (options.dry_run ? "Die Vorschau ist unvollständig." : go_on)
                    << std::endl;
    return kStoppedByUser;
  }
  return is_any_left ? kErrorsCounted : kDone;
}

}  // namespace kestrel::cli
