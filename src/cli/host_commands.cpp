// Commands for the host application's own data, which only its components know: late-bound, like everything
// of the host.
//
//   kestrelhost.Setup       CreateSampleHost(folder): makes database, templates and sample data in the folder
//                           and returns the connection string of the database
//                           TablesOfAnother(connection): names of tables, where they are another application's
//                           InitialiseDatabase(connection): makes the tables in another one
//                           CreateFiles(connection, folder): what goes with the database, true: of a sample host
//   kestrelhost.LogReader   Connection (set), ReadLog(list name, only the last): a record set
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <system_error>

#include "cli/program.h"
#include "kestrel/recordset.h"
#include "log/import_log.h"
#include "platform/base/file.h"

namespace kestrel::cli {

namespace {

struct MadeHost {
  std::string database;  // what may be printed of it
  bool is_sample = true;
};

// Makes the sample host in the folder, its database where --host or KESTREL_HOST says; of the database of another application
// that has destinations, their templates.
MadeHost MakeHost(Workspace& workspace, const std::string& folder, bool is_forced) {
  const bool own_host = !workspace.NamedHost().empty();
  const std::string not_made = "Die Beispielanwendung konnte in '" + folder + "' nicht angelegt werden. ";
  if (own_host) {
    workspace.OpenHost(Workspace::MissingHost::kMake);
    workspace.RequireWritableHost(not_made);
  }
  // A connection string may hold a password.
  MadeHost made = {workspace.options().host.empty() ? "(KESTREL_HOST)" : "(--host)"};
  Trap(
      [&] {
        const ObjectPtr setup = workspace.components().CreateObject("kestrelhost.Setup");
        if (own_host) {
          const ObjectPtr& database = workspace.session().HostConnection;
          const std::string others = CallMethod(setup, "TablesOfAnother", database).ToText();
          if (!others.empty() && !is_forced) {
            throw NotUsable(
                "Die Datenbank gehört einer anderen Anwendung (Tabellen: " + others +
                "). 'kestrel-import target add NAME --table TABELLE' macht aus einer ihrer Tabellen ein "
                "Importziel und lässt sie sonst, wie sie ist. Sollen die Tabellen der Beispielanwendung "
                "trotzdem dazu, geben Sie --force an.");
          }
          const std::string left = CallMethod(setup, "InitialiseDatabase", database).ToText();
          if (!left.empty()) workspace.err() << left << std::endl;
          made.is_sample = CallMethod(setup, "CreateFiles", database, folder).ToBool();
        } else {
          made.database = CallMethod(setup, "CreateSampleHost", folder).ToText();
        }
      },
      [&](const RuntimeError& error) { throw NotUsable(not_made + error.Description()); });
  return made;
}

// A column of the reader's record set, and how it is printed.
struct LogColumn {
  const char* name;
  TableWriter::Column printed;
};

std::vector<LogColumn> LogColumns(std::vector<LogColumn> own) {
  std::vector<LogColumn> columns = {{"Protokoll", {"Protokoll", "log", JsonKind::kNumber}},
                                    {"Datum", {"Datum", "date"}},
                                    {"Benutzer", {"Benutzer", "user", JsonKind::kOptional}},
                                    {"Beschreibung", {"Import", "specification"}}};
  std::ranges::move(own, std::back_inserter(columns));
  columns.push_back({"Datei", {"Spezifikation", "specificationFile", JsonKind::kOptional}});
  columns.push_back({"Quelldatei", {"Quelle", "source", JsonKind::kOptional}});
  return columns;
}

std::vector<LogColumn> ErrorColumns() {
  return LogColumns({{"Spalte0", {"Meldung", "message"}},
                     {"Datensatz", {"Datensatz", "sourceRecord", JsonKind::kNumber}},
                     {"DatensatzBis", {"bis", "lastSourceRecord", JsonKind::kNumber}},
                     {"Feld", {"Feld", "field", JsonKind::kOptional}},
                     {"Quellspalte", {"Quellspalte", "sourceColumn", JsonKind::kOptional}},
                     {"Rohwert", {"Rohwert", "rawValue", JsonKind::kOptional}}});
}

std::vector<LogColumn> DuplicateColumns() {
  return LogColumns({{"Spalte0", {"Datensatz", "record"}},
                     {"Spalte1", {"Feld", "field", JsonKind::kOptional}},
                     {"Spalte2", {"Wert", "value"}},
                     {"Datensatz", {"der Quelle", "sourceRecord", JsonKind::kNumber}},
                     {"Adressart", {"Gleicht in", "addressType", JsonKind::kOptional}},
                     {"Adresse", {"Nummer", "address", JsonKind::kOptional}},
                     {"Name", {"Name", "name", JsonKind::kOptional}},
                     {"Ort", {"Ort", "place", JsonKind::kOptional}},
                     {"Schluessel", {"Schlüssel", "key", JsonKind::kNumber}},
                     {"FruehererDatensatz", {"von Datensatz", "earlierRecord", JsonKind::kNumber}},
                     {"Entscheidung", {"Entscheidung", "decision", JsonKind::kOptional}},
                     {"Wertung", {"Wertung %", "score", JsonKind::kNumber}},
                     {"Grund", {"Grund", "reason", JsonKind::kOptional}}});
}

void WriteLog(Workspace& workspace, Recordset& rows, const std::vector<LogColumn>& columns) {
  std::vector<TableWriter::Column> printed;
  std::vector<std::size_t> positions;
  for (const LogColumn& column : columns) {
    printed.push_back(column.printed);
    positions.push_back(rows.RequireColumn(column.name));
  }
  TableWriter table(workspace.out(), workspace.look(), std::move(printed));
  for (; !rows.IsEof(); rows.MoveNext()) {
    std::vector<std::string> values;
    for (const std::size_t position : positions) values.emplace_back(rows.TextAt(position));
    table.Row(std::move(values));
  }
}

}  // namespace

int InitCommand(Workspace& workspace, const InitOptions& options) {
  const std::string& folder = options.folder;
  if (folder.empty()) throw NotUsable("Es ist kein Ordner angegeben.");
  if (FileExists(folder)) throw NotUsable("'" + folder + "' ist eine Datei und kein Ordner.");
  std::error_code error;
  if (!options.force && FolderExists(folder) && !std::filesystem::is_empty(folder, error) && !error) {
    throw NotUsable("Der Ordner '" + folder +
                    "' ist nicht leer. Nennen Sie einen neuen oder leeren Ordner, oder geben Sie --force an: "
                    "Was dort liegt, bleibt, und was fehlt, wird angelegt.");
  }
  const MadeHost made = MakeHost(workspace, folder, options.force);
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject(workspace.out()).Text("folder", folder).Text("host", made.database).End();
    return kDone;
  }
  const auto typed = [&](const std::string& command) {
    return "\n  " + workspace.TypedCommand(command + " --folder " + ShellWord(folder));
  };
  workspace.out() << (made.is_sample ? "Beispielanwendung angelegt: " : "Vorlagen der Importziele angelegt: ")
                  << folder << "\n  Datenbank   " << made.database << "\n\n"
                  << "Weiter mit:" << typed(made.is_sample ? "list" : "target list")
                  << typed(made.is_sample ? "run Kunden" : "list --templates") << std::endl;
  if (const std::string way = workspace.WayToPassword(); !way.empty()) workspace.out() << way << std::endl;
  return kDone;
}

int LogCommand(Workspace& workspace, const LogOptions& options) {
  workspace.OpenHost();
  const ObjectPtr reader = workspace.components().CreateObject("kestrelhost.LogReader");
  SetProperty(reader, "Connection", workspace.session().HostConnection);
  RecordsetPtr rows;
  Trap(
      [&] {
        const char* list = options.duplicates ? kDuplicateLogList : kErrorLogList;
        rows = ToRecordset(CallMethod(reader, "ReadLog", list, options.last));
      },
      [](const RuntimeError& error) {
        throw NotUsable("Die Protokolle der Hauptanwendung können nicht gelesen werden. " +
                        error.Description());
      });
  WriteLog(workspace, *rows, options.duplicates ? DuplicateColumns() : ErrorColumns());
  return kDone;
}

}  // namespace kestrel::cli
