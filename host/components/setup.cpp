#include "components/setup.h"

#include "components/sample_files.h"
#include "components/target_component.h"
#include "kestrel/open_connection.h"
#include "ledger/run_state.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "schema/database_roles.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/index_repair.h"
#include "storage/missing_rights.h"
#include "storage/sqlite_settings.h"

namespace kestrel::host {

void Setup::Bind(Members& members) {
  members.Method("CreateSampleHost", &Setup::CreateSampleHost);
  members.Method("CreateSampleFiles", &Setup::CreateSampleFiles);
  members.Method("RestoreDatabase", &Setup::RestoreDatabase);
  members.Method("WhyReadOnly", &Setup::WhyReadOnly);
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

std::string Setup::RestoreDatabase(const ObjectPtr& connection) {
  Connection& database = RequireHost(connection);
  AnnounceTargets(components_, database, keys_);
  std::string told = RestoreAddressIndexes(database);
  for (const std::string& more : {RenewAddressKeys(database), RestoreLedger(database)}) {
    if (!told.empty() && !more.empty()) told += "\n";
    told += more;
  }
  return told;
}

std::string Setup::WhyReadOnly(const ObjectPtr& connection) {
  return host::WhyReadOnly(RequireConnection(connection));
}

std::string Setup::InitialiseDatabase(const ObjectPtr& connection) {
  Connection& database = RequireHost(connection);
  PrepareNewDatabase(database);
  InitialiseHostDatabase(database);
  return GrantRoles(database);
}

}  // namespace kestrel::host
