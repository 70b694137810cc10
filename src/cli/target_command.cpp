// What the host's component kestrelhost.Targets does, late-bound like everything of the host:
//
//   Connection (set); SetKeys(names, street, postal code, town, off), Add and Edit(name, table): remarks, a record set with
//   Spalte and Text; StartIndex(name, repair), NextIndex: true while there is more, IndexTotal, IndexDone, IndexMissing,
//   IndexChanged, IndexOrphaned, IndexUnfit; List, Fields(name), Check(name): record sets; Runs(name): a number;
//   Remove(name, with its runs); WriteTemplate(name, folder): its path
//
// and kestrelhost.Setup: UpgradeTables(connection, whether there is a copy): a record set with Von, Nach, Sicherung, Rest
#include "cli/target_command.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <ostream>
#include <string_view>
#include <utility>

#include "cli/progress_line.h"
#include "kestrel/recordset.h"
#include "platform/base/counted.h"
#include "platform/base/file.h"
#include "spec/profile_access.h"

namespace kestrel::cli {

namespace {

constexpr std::string_view kNoChange = "Importziele können hier nicht geändert werden. ";

ObjectPtr OpenTargets(Workspace& workspace) {
  workspace.OpenHost();
  ObjectPtr targets;
  Trap(
      [&] {
        targets = workspace.components().CreateObject("kestrelhost.Targets");
        SetProperty(targets, "Connection", workspace.session().HostConnection);
      },
      [](const RuntimeError& error) {
        throw NotUsable("Die Hauptanwendung kennt keine eigenen Importziele. " + error.Description());
      });
  return targets;
}

void SetKeys(const ObjectPtr& targets, const TargetOptions& options) {
  std::string names;
  for (const std::string& name : options.key_names) names += (names.empty() ? "" : "\n") + name;
  CallMethod(targets, "SetKeys", names, options.key_street, options.key_postal_code, options.key_place,
             options.no_keys);
}

// One of `name`, of List.
RecordsetPtr Find(const ObjectPtr& targets, const std::string& name) {
  RecordsetPtr rows = ToRecordset(CallMethod(targets, "List"));
  while (!rows->IsEof() && rows->TextAt(0) != name) rows->MoveNext();
  return rows;
}

std::int64_t Number(const ObjectPtr& targets, const char* member) {
  return GetProperty(targets, member).ToInteger();
}

// Where the wizard finds it, too: the folder "Import", unless --folder names one that holds specifications itself.
std::string TemplateFolder(const Workspace& workspace) {
  const std::string& folder = workspace.spec_folder();
  if (FileNameOfPath(folder) == "Import") return folder;
  const std::vector<std::string> files = FolderExists(folder) ? ListFiles(folder) : std::vector<std::string>();
  const bool holds_specifications = std::any_of(files.begin(), files.end(), [](const std::string& file) {
    const std::string extension = GetFileExtension(file);
    return extension == ".IMP" || extension == ".IMT";
  });
  return holds_specifications ? folder : JoinPath(folder, "Import");
}

// False where the user has stopped it.
bool Index(Workspace& workspace, const ObjectPtr& targets, const TargetOptions& options, bool repairs) {
  ProgressLine progress(workspace, options.progress);
  const StopSignals::Asking first_signal_asks(workspace.signals());
  CallMethod(targets, "StartIndex", options.name, repairs);
  const std::int64_t counted = Number(targets, "IndexTotal");
  bool is_stopped = false;
  while (!is_stopped && CallMethod(targets, "NextIndex").ToBool()) {
    const std::int64_t done = Number(targets, "IndexDone");
    // An import beside it may add some.
    const std::int64_t total = std::max(counted, done);
    progress.SetInfo("Lese Datensatz " + std::to_string(done) + " von " + std::to_string(total));
    progress.SetPercent(total == 0 ? 100 : 100.0 * static_cast<double>(done) / static_cast<double>(total));
    progress.Tick();
    is_stopped = workspace.signals().StopRequested();
  }
  progress.End();
  return !is_stopped;
}

void WriteRemarks(std::ostream& out, Recordset& remarks) {
  bool is_first = true;
  out << '[';
  for (; !remarks.IsEof(); remarks.MoveNext()) {
    out << (std::exchange(is_first, false) ? "" : ",");
    JsonObject(out).OptionalText("column", remarks.TextAt(0)).Text("text", remarks.TextAt(1)).Close();
  }
  out << ']';
}

void TellRemarks(std::ostream& err, Recordset& remarks) {
  for (; !remarks.IsEof(); remarks.MoveNext()) {
    if (!remarks.TextAt(0).empty()) err << remarks.TextAt(0) << ": ";
    err << remarks.TextAt(1) << '\n';
  }
}

void TellUnfit(std::ostream& out, std::int64_t unfit) {
  if (unfit == 0) return;
  out << Counted(unfit, "Datensatz kennt", "Datensätze kennt")
      << " die Dublettenprüfung nicht, weil die Nummer negativ oder zu groß ist.\n";
}

int TellMade(Workspace& workspace, const ObjectPtr& targets, const TargetOptions& options,
             const RecordsetPtr& remarks) {
  const bool is_indexed = Index(workspace, targets, options, true);
  const std::string path =
      CallMethod(targets, "WriteTemplate", options.name, TemplateFolder(workspace)).ToText();
  const RecordsetPtr target = Find(targets, options.name);
  const bool checks = target->ValueAt(4).ToInteger() != 0;
  const std::int64_t unfit = Number(targets, "IndexUnfit");
  const std::int64_t known = Number(targets, "IndexDone") - unfit;
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject object(workspace.out());
    object.Text("name", target->TextAt(0))
        .Text("importClass", target->TextAt(1))
        .Text("table", target->TextAt(2))
        .Number("fields", target->ValueAt(3).ToInteger())
        .Truth("duplicateCheck", checks)
        .Number("knownAddresses", known)
        .Truth("complete", is_indexed)
        .Text("template", path);
    WriteRemarks(object.Member("remarks"), *remarks);
    object.End();
  } else {
    TellRemarks(workspace.err(), *remarks);
    workspace.out() << "Importziel '" << target->TextAt(0) << "' in die Tabelle '" << target->TextAt(2) << "', "
                    << Counted(target->ValueAt(3).ToInteger(), "Feld", "Felder") << ".\n";
    if (checks) {
      workspace.out() << "Die Dublettenprüfung kennt " << Counted(known, "Anschrift", "Anschriften")
                      << " der Tabelle.\n";
    }
    TellUnfit(workspace.out(), unfit);
    workspace.out() << "Vorlage für Importe: " << path << std::endl;
  }
  if (is_indexed) return kDone;
  workspace.err() << "Angehalten. 'kestrel-import target check " << options.name
                  << " --rebuild' bildet die übrigen Schlüssel." << std::endl;
  return kStoppedByUser;
}

// `member`: "Add" or "Edit".
int MakeTarget(Workspace& workspace, const TargetOptions& options, std::string_view member) {
  const ObjectPtr targets = OpenTargets(workspace);
  workspace.RequireWritableHost(kNoChange);
  SetKeys(targets, options);
  const RecordsetPtr remarks = ToRecordset(CallMethod(targets, member, options.name, options.table));
  return TellMade(workspace, targets, options, remarks);
}

}  // namespace

int TargetAddCommand(Workspace& workspace, const TargetOptions& options) {
  return MakeTarget(workspace, options, "Add");
}

int TargetEditCommand(Workspace& workspace, const TargetOptions& options) {
  return MakeTarget(workspace, options, "Edit");
}

int TargetListCommand(Workspace& workspace) {
  const RecordsetPtr rows = ToRecordset(CallMethod(OpenTargets(workspace), "List"));
  const bool is_json = workspace.options().format == OutputFormat::kJson;
  if (is_json) {
    for (; !rows->IsEof(); rows->MoveNext()) {
      JsonObject(workspace.out())
          .Text("name", rows->TextAt(0))
          .Text("importClass", rows->TextAt(1))
          .Text("table", rows->TextAt(2))
          .Number("fields", rows->ValueAt(3).ToInteger())
          .Truth("duplicateCheck", rows->ValueAt(4).ToInteger() != 0)
          .End();
    }
    return kDone;
  }
  TableWriter table(
      workspace.out(), workspace.options().format,
      {{"Name", ""}, {"Importziel", ""}, {"Tabelle", ""}, {"Felder", ""}, {"Dublettenprüfung", ""}});
  for (; !rows->IsEof(); rows->MoveNext()) {
    table.Row({std::string(rows->TextAt(0)), std::string(rows->TextAt(1)), std::string(rows->TextAt(2)),
               std::string(rows->TextAt(3)), rows->ValueAt(4).ToInteger() != 0 ? "ja" : "nein"});
  }
  return kDone;
}

int TargetShowCommand(Workspace& workspace, const TargetOptions& options) {
  const RecordsetPtr rows = ToRecordset(CallMethod(OpenTargets(workspace), "Fields", options.name));
  const bool is_json = workspace.options().format == OutputFormat::kJson;
  TableWriter table(workspace.out(), workspace.options().format,
                    {{"Feld", ""},
                     {"Typ", ""},
                     {"Länge", ""},
                     {"Pflicht", ""},
                     {"Schlüssel", ""},
                     {"Vorgabe", ""},
                     {"Auswahl", ""}});
  constexpr std::size_t kShown = 7;
  for (; !rows->IsEof(); rows->MoveNext()) {
    if (!is_json) {
      std::vector<std::string> texts;
      for (std::size_t column = 0; column < kShown; ++column) texts.emplace_back(rows->TextAt(column));
      table.Row(std::move(texts));
      continue;
    }
    JsonObject object(workspace.out());
    object.Text("field", rows->TextAt(0)).Text("type", rows->TextAt(1));
    if (rows->TextAt(2).empty()) {
      object.Null("length");
    } else {
      object.Number("length", rows->ValueAt(2).ToInteger());
    }
    object.Truth("mandatory", !rows->TextAt(3).empty())
        .OptionalText("key", rows->TextAt(4))
        .OptionalText("default", rows->TextAt(5))
        .Truth("permittedValues", !rows->TextAt(6).empty())
        .End();
  }
  return kDone;
}

int TargetCheckCommand(Workspace& workspace, const TargetOptions& options) {
  const ObjectPtr targets = OpenTargets(workspace);
  if (options.rebuild) workspace.RequireWritableHost(kNoChange);
  const RecordsetPtr remarks = ToRecordset(CallMethod(targets, "Check", options.name));
  const bool fits = remarks->IsEof();
  // Of a table that is another one nothing can be compared.
  const bool is_complete = !fits || Index(workspace, targets, options, options.rebuild);
  const std::int64_t stale =
      Number(targets, "IndexMissing") + Number(targets, "IndexChanged") + Number(targets, "IndexOrphaned");
  const std::int64_t unfit = Number(targets, "IndexUnfit");
  const bool is_stale = stale > 0 && !options.rebuild;
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject object(workspace.out());
    object.Text("name", options.name)
        .Number("addresses", Number(targets, "IndexDone"))
        .Number("keysMissing", Number(targets, "IndexMissing"))
        .Number("keysChanged", Number(targets, "IndexChanged"))
        .Number("keysOrphaned", Number(targets, "IndexOrphaned"))
        .Number("notIndexable", unfit)
        .Truth("rebuilt", options.rebuild && fits && is_complete)
        .Truth("complete", is_complete);
    WriteRemarks(object.Member("findings"), *remarks);
    object.End();
  } else {
    for (; !remarks->IsEof(); remarks->MoveNext()) {
      workspace.out() << (remarks->TextAt(0).empty() ? "" : std::string(remarks->TextAt(0)) + ": ")
                      << remarks->TextAt(1) << '\n';
    }
    TellUnfit(workspace.out(), unfit);
    if (stale > 0) {
      workspace.out() << "Andere Programme haben " << Counted(stale, "Anschrift", "Anschriften")
                      << " geändert, ohne dass die Dublettenprüfung davon weiß."
                      << (is_stale
                              ? " 'kestrel-import target check " + options.name + " --rebuild' holt es nach."
                              : " Die Schlüssel sind neu gebildet.")
                      << '\n';
    }
    if (fits && stale == 0 && is_complete) workspace.out() << "Keine Auffälligkeiten.\n";
    workspace.out() << std::flush;
  }
  if (!is_complete) {
    workspace.err() << "Angehalten nach "
                    << Counted(Number(targets, "IndexDone"), "verglichenen Anschrift",
                               "verglichenen Anschriften")
                    << ". Derselbe Befehl vergleicht alle von vorn." << std::endl;
    return kStoppedByUser;
  }
  return fits && !is_stale ? kDone : kErrorsCounted;
}

int TargetRemoveCommand(Workspace& workspace, const TargetOptions& options) {
  const ObjectPtr targets = OpenTargets(workspace);
  workspace.RequireWritableHost(kNoChange);
  const std::int64_t runs = CallMethod(targets, "Runs", options.name).ToInteger();
  bool with_runs = options.yes;
  if (runs > 0 && !options.yes && ::isatty(STDIN_FILENO) != 0) {
    workspace.err() << "Sollen auch die Protokolle von " << Counted(runs, "Importlauf", "Importläufen")
                    << " gelöscht werden? Zurücknehmen lassen sie sich dann nicht mehr. (j/N) " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    with_runs = answer == "j" || answer == "J" || answer == "ja";
  }
  CallMethod(targets, "Remove", options.name, with_runs);
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject(workspace.out())
        .Text("name", options.name)
        .Number("runs", runs)
        .Truth("runsRemoved", with_runs && runs > 0)
        .End();
    return kDone;
  }
  workspace.out() << "Das Importziel '" << options.name << "' ist entfernt; seine Tabelle ist, wie sie war."
                  << std::endl;
  if (runs > 0 && !with_runs) {
    workspace.err() << "Die Protokolle von " << Counted(runs, "Importlauf", "Importläufen")
                    << " bleiben. Mit --yes werden sie zusammen mit dem Importziel gelöscht." << std::endl;
  }
  return kDone;
}

int TargetUpgradeCommand(Workspace& workspace, const TargetOptions& options) {
  try {
    workspace.OpenHost();
  } catch (const NotUsable&) {
    // That the tables are of an earlier version is why this is called.
    if (workspace.session().HostConnection == nullptr) throw;
  }
  workspace.RequireWritableHost(kNoChange);
  const ObjectPtr setup = workspace.components().CreateObject("kestrelhost.Setup");
  const RecordsetPtr done =
      ToRecordset(CallMethod(setup, "UpgradeTables", workspace.session().HostConnection, options.backed_up));
  const std::int64_t from = done->ValueAt(0).ToInteger();
  const std::int64_t to = done->ValueAt(1).ToInteger();
  const std::string backup(done->TextAt(2));
  if (!done->TextAt(3).empty()) workspace.err() << done->TextAt(3) << std::endl;
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject(workspace.out()).Number("from", from).Number("to", to).OptionalText("backup", backup).End();
    return kDone;
  }
  if (from == to) {
    workspace.out() << "Die Tabellen sind schon von dieser Version (Fassung " << to << ")." << std::endl;
    return kDone;
  }
  workspace.out() << "Die Tabellen sind umgestellt, von Fassung " << from << " auf " << to << ".\n";
  if (!backup.empty()) workspace.out() << "Wie sie waren, steht in: " << backup << '\n';
  workspace.out() << std::flush;
  return kDone;
}

}  // namespace kestrel::cli
