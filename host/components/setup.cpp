#include "components/setup.h"

#include "components/sample_files.h"
#include "components/target_component.h"
#include "kestrel/memory_recordset.h"
#include "kestrel/open_connection.h"
#include "ledger/run_state.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "schema/database_roles.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "schema/upgrade.h"
#include "storage/index_repair.h"
#include "storage/missing_rights.h"
#include "storage/sqlite_settings.h"
#include "targets/target_store.h"

namespace kestrel::host {

void Setup::Bind(Members& members) {
  members.Method("CreateSampleHost", &Setup::CreateSampleHost);
  members.Method("CreateFiles", &Setup::CreateFiles);
  members.Method("TablesOfAnother", &Setup::TablesOfAnother);
  members.Method("RestoreDatabase", &Setup::RestoreDatabase);
  members.Method("WhyReadOnly", &Setup::WhyReadOnly);
  members.Method("WhyOtherVersion", &Setup::WhyOtherVersion);
  members.Method("VersionToUpgrade", &Setup::VersionToUpgrade);
  members.Method("UpgradeTables", &Setup::UpgradeTables);
  members.Method("InitialiseDatabase", &Setup::InitialiseDatabase);
}

std::string Setup::CreateSampleHost(const std::string& folder) {
  CreateFolders(folder);
  std::string database = JoinPath(folder, "kestrel.db");
  const ConnectionPtr connection =
      OpenConnection("Provider=SQLite;Data Source=\"" + ReplaceAll(database, "\"", "\"\"") + "\"");
  PrepareNewDatabase(*connection);
  InitialiseHostDatabase(*connection);
  connection->Close();
  CreateSampleFiles(folder);
  return database;
}

void Setup::CreateSampleFiles(const std::string& folder) {
  const std::string import = JoinPath(folder, "Import");
  CreateFolders(import);
  for (const SampleFile& file : SampleFiles()) {
    const std::string path = JoinPath(import, file.name);
    if (!FileExists(path)) WriteFileAtomically(path, file.bytes);
  }
}

bool Setup::CreateFiles(const ObjectPtr& connection, const std::string& folder) {
  Connection& database = RequireHost(connection);
  if (!AreOwnTablesApart(database)) {
    CreateSampleFiles(folder);
    return true;
  }
  const std::string import = JoinPath(folder, "Import");
  CreateFolders(import);
  for (const TargetSummary& target : Targets(database)) WriteTemplateOf(database, target.name, import);
  return false;
}

std::string Setup::TablesOfAnother(const ObjectPtr& connection) {
  Connection& database = RequireHost(connection);
  if (AreOwnTablesApart(database) || IsSampleHost(database)) return {};
  constexpr std::size_t kNamed = 3;
  std::string names;
  std::size_t count = 0;
  for (const CatalogTable& table : database.Tables()) {
    if (table.type != "TABLE" || ++count > kNamed) continue;
    names += (names.empty() ? "" : ", ") + table.name;
  }
  return count > kNamed ? names + " ..." : names;
}

std::string Setup::RestoreDatabase(const ObjectPtr& connection) {
  Connection& database = RequireHost(connection);
  AnnounceTargets(components_, database, keys_);
  std::string told;
  // Of a million addresses the keys take a minute.
  database.CallMutex().Aside([&] {
    told = RestoreAddressIndexes(database);
    for (const std::string& more : {RenewAddressKeys(database), RestoreLedger(database)}) {
      if (!told.empty() && !more.empty()) told += "\n";
      told += more;
    }
  });
  return told;
}

std::string Setup::WhyReadOnly(const ObjectPtr& connection) {
  return host::WhyReadOnly(RequireConnection(connection));
}

std::string Setup::WhyOtherVersion(const ObjectPtr& connection) {
  Connection& database = RequireConnection(connection);
  std::string reason;
  Trap([&] { FindOwnTables(database); },
       [&](const RuntimeError& error) {
         if (!error.Is(ErrorNumber::kInvalidProcedureCall)) throw;
         reason = error.Description();
       });
  return reason;
}

std::int64_t Setup::VersionToUpgrade(const ObjectPtr& connection) {
  const int version = VersionOfOwnTables(RequireConnection(connection));
  return version < kOwnVersion ? version : 0;
}

ObjectPtr Setup::UpgradeTables(const ObjectPtr& connection, bool is_backed_up) {
  Connection& database = RequireConnection(connection);
  VersionOfOwnTables(database);
  if (const auto run = RunAtWork(database)) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Der Importlauf " + std::to_string(*run) +
                           " läuft noch. Warten Sie sein Ende ab, und stellen Sie dann um");
  }
  const Upgrade upgrade = UpgradeOwnTables(database, is_backed_up ? Backup::kIsThere : Backup::kMake);
  auto row = std::make_shared<MemoryRecordset>();
  for (const char* column : {"Von", "Nach"}) row->AppendColumn(column, ColumnType::kInt64);
  for (const char* column : {"Sicherung", "Rest"}) row->AppendColumn(column);
  row->AddNew();
  row->SetValue(0, std::int64_t{upgrade.from});
  row->SetValue(1, std::int64_t{upgrade.to});
  row->SetText(2, upgrade.backup);
  row->SetText(3, GrantRoles(database, MissingRoles::kPassOver));
  row->MoveFirst();
  return row;
}

std::string Setup::InitialiseDatabase(const ObjectPtr& connection) {
  Connection& database = RequireHost(connection);
  if (AreOwnTablesApart(database)) {
    // No address lists of the sample host among the tables of another application.
    CreateOwnTables(database);
  } else {
    PrepareNewDatabase(database);
    InitialiseHostDatabase(database);
  }
  return GrantRoles(database);
}

}  // namespace kestrel::host
