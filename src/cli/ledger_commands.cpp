// Commands for the ledger of imports that the host keeps: what they did, and taking one back.
//
//   kestrelhost.RunLedger   Connection (set); Runs and Records(run): record sets; StartUndo(run, trial, take changes),
//                           NextUndo: true while there is more; UndoTotal, UndoDone, Removed, Restored; LeftAlone: a
//                           record set
#include <ostream>
#include <span>
#include <utility>

#include "cli/progress_line.h"
#include "kestrel/connection.h"
#include "kestrel/recordset.h"
#include "kestrel/waits.h"
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
  bool is_number = false;
};

constexpr LedgerColumn kRunColumns[] = {
    {"LaufNr", "Lauf", "run", true},
    {"Zustand", "Zustand", "state"},
    {"Beginn", "Beginn", "begin"},
    {"Ende", "Ende", "end"},
    {"Tabelle", "Tabelle", "table"},
    {"Gelesen", "Gelesen", "read", true},
    {"Neu", "Neu", "storedNew", true},
    {"Aktualisiert", "Geändert", "updated", true},
    {"Zurueckgehalten", "Zurückgehalten", "heldBack", true},
    {"Abgewiesen", "Abgewiesen", "rejected", true},
    {"Fehler", "Fehler", "errors", true},
    {"Gekuerzt", "Gekürzt", "cutValues", true},
    {"GekuerzteFelder", "Gekürzt in", "cutIn"},
    {"Benutzer", "Benutzer", "user"},
    {"Spezifikation", "Spezifikation", "specification"},
    {"Pruefsumme", "Prüfsumme", "checksum"},
    {"Quelle", "Quelle", "source"},
    {"Quellgroesse", "Größe", "sourceSize", true},
    {"Quellzeit", "Stand", "sourceTime"},
};
constexpr LedgerColumn kRecordColumns[] = {
    {"Datensatz", "Datensatz", "record", true},
    {"BisDatensatz", "bis", "lastRecord", true},
    {"Ereignis", "Ereignis", "event"},
    {"Tabelle", "Tabelle", "table"},
    {"Nummer", "Nummer", "number", true},
    {"BisNummer", "bis", "lastNumber", true},
    {"Feld", "Feld", "field"},
    {"Vorher", "Vorher", "before"},
    {"Importiert", "Importiert", "imported"},
};
constexpr LedgerColumn kLeftColumns[] = {
    {"Datensatz", "Datensatz", "record", true},
    {"Nummer", "Nummer", "number", true},
    {"Feld", "Feld", "field"},
    {"Vorher", "Vorher", "before"},
    {"Importiert", "Importiert", "imported"},
    {"Jetzt", "Jetzt", "now"},
};

void WriteJsonRow(std::ostream& out, const Recordset& row, std::span<const LedgerColumn> columns) {
  JsonObject object(out);
  for (const LedgerColumn& column : columns) {
    const std::string text = TextOf(row, column.name);
    const auto number = column.is_number ? ParseWholeNumber(text) : std::nullopt;
    if (number) {
      object.Number(column.key, *number);
    } else if (column.is_number) {
      object.Null(column.key);
    } else {
      object.Text(column.key, text);
    }
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
  TableWriter table(workspace.out(), workspace.options().format, std::move(titles));
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

// While it lives, a wait for another program is told once, and a signal ends it.
class ToldWaits final : private WaitWatch {
 public:
  // All of them outlive this object.
  ToldWaits(Workspace& workspace, ProgressLine& progress)
      : workspace_(workspace),
        progress_(progress),
        connection_(RequireConnection(workspace.session().HostConnection)) {
    connection_.WatchWaits(this);
  }
  ~ToldWaits() override { connection_.WatchWaits(nullptr); }
  ToldWaits(const ToldWaits&) = delete;
  ToldWaits& operator=(const ToldWaits&) = delete;

 private:
  bool KeepWaiting(std::string_view reason) override {
    if (!std::exchange(is_told_, true)) {
      progress_.End();
      workspace_.err() << reason << std::endl;
    }
    return !workspace_.signals().StopRequested();
  }

  Workspace& workspace_;
  ProgressLine& progress_;
  Connection& connection_;
  bool is_told_ = false;
};

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
    const ToldWaits waits(workspace, progress);
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
                    << Counted(left_count, "Änderung", "Änderungen") << " seit dem Import stehen gelassen."
                    << (is_any_left ? " Auch sie nimmt --force zurück." : "") << std::endl;
  }
  if (is_stopped) {
    workspace.err() << "Angehalten. " << (options.dry_run ? "Die Vorschau ist unvollständig." : go_on)
                    << std::endl;
    return kStoppedByUser;
  }
  return is_any_left ? kErrorsCounted : kDone;
}

}  // namespace kestrel::cli
