#include "app/host_database.h"

#include <algorithm>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/providers/sqlite/sqlite_provider.h"

namespace kestrel::host {

std::string HostDatabase(const std::string& folder, const std::string& connection_string) {
  if (!connection_string.empty()) return connection_string;
  std::string database = JoinPath(folder, "kestrel.db");
  // Opening would make an empty one.
  if (!FileExists(database)) {
    throw RuntimeError(ErrorNumber::kFileNotFound,
                       "Im Ordner '" + folder +
                           "' liegt keine Beispielanwendung. Legen Sie sie mit 'kestrel-import init " + folder +
                           "' an.");
  }
  return database;
}

namespace {

constexpr const char* kTitle = "KESTREL Adressen";

// Another application may well have a table of customers.
bool HasLists(Connection& connection) {
  const std::vector<CatalogTable> tables = connection.Tables();
  return std::ranges::any_of(tables, [](const CatalogTable& table) {
    return EqualsIgnoringCase(table.name, "Importziele") ||
           EqualsIgnoringCase(table.name, "kestrel_Importziele");
  });
}

}  // namespace

ConnectionPtr OpenHostDatabase(const std::string& folder, const std::string& connection_string) {
  const std::string database = HostDatabase(folder, connection_string);
  // Opening would make an empty one.
  const std::string file = SqliteFileOf(database);
  if (!file.empty() && IsMissing(file)) {
    throw RuntimeError(ErrorNumber::kFileNotFound,
                       "Die Datenbank '" + file + "' gibt es nicht. Prüfen Sie die Angabe hinter --host.");
  }
  ConnectionPtr connection = OpenConnection(database);
  if (!HasLists(*connection)) {
    throw RuntimeError(
        ErrorNumber::kDatabase,
        "Die Datenbank enthält keine Adresslisten. Die der Beispielanwendung legt "
        "'kestrel-import init ORDNER' an; aus einer eigenen Tabelle macht 'kestrel-import target "
        "add NAME --table TABELLE' eine.");
  }
  return connection;
}

bool UpgradeWhereWanted(UserInterface& ui, ComponentRegistry& components, const ConnectionPtr& connection) {
  const ObjectPtr setup = components.CreateObject("kestrelhost.Setup");
  if (CallMethod(setup, "VersionToUpgrade", connection).ToInteger() == 0) return true;
  const Answer answer = ui.MessageBox(
      "Was der Import in dieser Datenbank braucht, hat eine frühere Version des Programms angelegt. Soll es "
      "jetzt "
      "gesichert und auf diese Version umgestellt werden? Frühere Programme öffnen die Datenbank danach nicht "
      "mehr.",
      kTitle, Icon::kQuestion, Buttons::kYesNo);
  if (answer != Answer::kYes) return false;
  const RecordsetPtr done = ToRecordset(CallMethod(setup, "UpgradeTables", connection, false));
  std::string told = "Die Tabellen sind umgestellt.";
  if (const std::string_view backup = done->TextAt(done->RequireColumn("Sicherung")); !backup.empty()) {
    told += " Wie sie waren, steht in: " + std::string(backup);
  }
  if (const std::string_view rest = done->TextAt(done->RequireColumn("Rest")); !rest.empty()) {
    told += "\n" + std::string(rest);
  }
  ui.MessageBox(told, kTitle, Icon::kInformation, Buttons::kOk);
  return true;
}

void WriteTemplates(ComponentRegistry& components, const ConnectionPtr& connection, const std::string& folder) {
  const std::string above = ParentFolder(folder);
  const std::vector<std::string> files =
      IsMissing(folder) && FolderExists(above) ? ListFiles(above) : std::vector<std::string>();
  if (std::ranges::any_of(files, [](const std::string& file) { return file.ends_with(".IMP"); })) {
    // With a folder "Import" the command line would no longer find them.
    throw RuntimeError(ErrorNumber::kPathNotFound,
                       "Die Importspezifikationen liegen in '" + above +
                           "' selbst. Der Assistent sucht sie im Ordner 'Import' darin. Legen Sie ihn an, und "
                           "verschieben Sie sie dorthin.");
  }
  const ObjectPtr targets = components.CreateObject("kestrelhost.Targets");
  SetProperty(targets, "Connection", connection);
  for (const RecordsetPtr rows = ToRecordset(CallMethod(targets, "List")); !rows->IsEof(); rows->MoveNext()) {
    CallMethod(targets, "WriteTemplate", std::string(rows->TextAt(0)), folder);
  }
}

}  // namespace kestrel::host
