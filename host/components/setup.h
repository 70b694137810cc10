// kestrelhost.Setup: makes a sample host to try everything on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "keys/duplicate_keys.h"

namespace kestrel::host {

class Setup final : public BoundObject<Setup> {
 public:
  // What is made takes import classes from the registry, which outlives it.
  Setup(ComponentRegistry& components, std::shared_ptr<KeyMemory> keys)
      : components_(components), keys_(std::move(keys)) {}
  static void Bind(Members& members);

 private:
  // In `folder`, made if missing: the database "kestrel.db" and what CreateSampleFiles makes. What exists stays
  // as it is. Returns the database's connection string. Errors of files and of the database.
  std::string CreateSampleHost(const std::string& folder);
  // In `folder`, made if missing: the folder "Import" with templates, a specification "Kunden.IMP" and the file
  // "Beispieladressen.txt" that it imports. What exists stays as it is. Errors of files.
  void CreateSampleFiles(const std::string& folder);
  // In `folder`, made if missing, what goes with an open database: of the sample host's the same, true; of another
  // application's the templates of its targets. What exists stays as it is. Errors of files and of the database.
  bool CreateFiles(const ObjectPtr& connection, const std::string& folder);
  // Some of the tables of a database that holds any, where they are neither the sample host's nor those beside targets; else
  // empty. Error 3000.
  std::string TablesOfAnother(const ObjectPtr& connection);
  // For whoever has opened the host's database: puts right what is missing in it or was broken off,
  // see RestoreAddressIndexes and RestoreLedger; and makes the import classes of its targets known.
  std::string RestoreDatabase(const ObjectPtr& connection);
  // Why the host's database takes no changes; empty where it does.
  std::string WhyReadOnly(const ObjectPtr& connection);
  // Why the tables in it cannot be used, as another version of the program has made them, with the way out; empty where they
  // can. Error 3000.
  std::string WhyOtherVersion(const ObjectPtr& connection);
  // The version of the tables in it, where that is an earlier one (schema/upgrade.h); else 0. Error 3000.
  std::int64_t VersionToUpgrade(const ObjectPtr& connection);
  // Brings them to the present one, once a person has said so; `is_backed_up`: a copy was made by other means. Columns:
  // Von, Nach, Sicherung, and Rest, what is left to an administrator. See UpgradeOwnTables; error 5 while an import goes on.
  ObjectPtr UpgradeTables(const ObjectPtr& connection, bool is_backed_up);
  // Makes the tables in another database, opened by the caller, and the roles of its users where it has some. What is
  // left to an administrator, in sentences (see GrantRoles).
  std::string InitialiseDatabase(const ObjectPtr& connection);

  ComponentRegistry& components_;
  std::shared_ptr<KeyMemory> keys_;
};

}  // namespace kestrel::host
