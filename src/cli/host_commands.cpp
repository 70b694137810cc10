// Commands for the host application's own data, which only its components know: late-bound, like everything
// of the host.
//
//   kestrelhost.Setup       CreateSampleHost(folder): makes database, templates and sample data in the folder
//                           and returns the connection string of the database
//                           CreateSampleFiles(folder): the same without a database
//                           InitialiseDatabase(connection): makes the tables in another one
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

// Makes the sample host in the folder, its database where --host or KESTREL_HOST says; what may be printed of the database.
std::string MakeSampleHost(Workspace& workspace, const std::string& folder) {
  const bool own_host = !workspace.NamedHost().empty();
  if (own_host) workspace.OpenHost(Workspace::MissingHost::kMake);
  // A connection string may hold a password.
  std::string database = workspace.options().host.empty() ? "(KESTREL_HOST)" : "(--host)";
  Trap(
      [&] {
        const ObjectPtr setup = workspace.components().CreateObject("kestrelhost.Setup");
        if (own_host) {
          const std::string left =
              CallMethod(setup, "InitialiseDatabase", workspace.session().HostConnection).ToText();
          if (!left.empty()) workspace.err() << left << std::endl;
          CallMethod(setup, "CreateSampleFiles", folder);
        } else {
          database = CallMethod(setup, "CreateSampleHost", folder).ToText();
        }
      },
      [&](const RuntimeError& error) {
        throw NotUsable("Die Beispielanwendung konnte in ''" + folder + "'' nicht angelegt werden. " +
                        error.Description());
      });
  return database;
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
  if (FileExists(folder)) throw NotUsable("''" + folder + "'' ist eine Datei und kein Ordner.");
  std::error_code error;
  if (!options.force && FolderExists(folder) && !std::filesystem::is_empty(folder, error) && !error) {
    throw NotUsable("Der Ordner ''" + folder +
                    "'' ist nicht leer. Nennen Sie einen neuen oder leeren Ordner, oder geben Sie --force an: "
                    "Was dort liegt, bleibt, und was fehlt, wird angelegt.");
  }
  const std::string database = MakeSampleHost(workspace, folder);
  if (workspace.options().format == OutputFormat::kJson) {
    JsonObject(workspace.out()).Text("folder", folder).Text("host", database).End();
    return kDone;
  }
  workspace.out() << "Beispielanwendung angelegt: " << folder << "\n"
                  << "  Datenbank   " << database << "\n\n"
                  << "Weiter mit:\n"
                  << "  kestrel-import list --folder " << ShellWord(folder) << "\n"
                  << "  kestrel-import run Kunden --folder " << ShellWord(folder) << std::endl;
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
