// kestrelhost.Targets: destinations that a user makes of tables of another application (targets/).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "keys/duplicate_keys.h"
#include "schema/destination.h"
#include "targets/address_reindex.h"
#include "targets/target_store.h"

namespace kestrel::host {

// An import class of that name, which stores what the tables Importziele and Importfelder say.
void RegisterImporter(ComponentRegistry& registry, const std::string& prog_id,
                      const std::shared_ptr<KeyMemory>& keys);
// The same for each destination of a user's own. Error 3000.
void AnnounceTargets(ComponentRegistry& registry, Connection& connection,
                     const std::shared_ptr<KeyMemory>& keys);

class TargetComponent final : public BoundObject<TargetComponent> {
 public:
  // What is made takes import classes from the registry, which outlives it.
  TargetComponent(ComponentRegistry& components, std::shared_ptr<KeyMemory> keys)
      : components_(components), keys_(std::move(keys)) {}
  static void Bind(Members& members);

 private:
  // Error 91 or 438 where the object is no connection.
  void SetConnection(const ObjectPtr& connection);
  // For the next Add or Edit, see KeyColumns; several names have line feeds between them.
  void SetKeys(std::string_view names, std::string_view street, std::string_view postcode,
               std::string_view town, bool is_off);
  // See AddTarget and EditTarget. Remarks have the columns Spalte and Text.
  ObjectPtr Add(std::string_view name, std::string_view table);
  ObjectPtr Edit(std::string_view name, std::string_view table);
  // Removes the definition, and where `with_runs` its imports from ledger and logs. See RemoveTarget.
  void Remove(std::string_view name, bool with_runs);
  // How many imports the ledger knows of it.
  std::int64_t Runs(std::string_view name);
  // Columns: Name, ProgID, Tabelle, Felder, Adressart; InAnweisungen, the table as statements name it; Anwendung, the
  // application mode of its specifications.
  ObjectPtr List();
  // Columns: Feld, Typ, Laenge, Pflicht, Schluessel, Vorgabe, Auswahl; InAnweisungen, the column as statements name it.
  ObjectPtr Fields(std::string_view name);
  // See CheckTarget. Remarks as of Add.
  ObjectPtr Check(std::string_view name);
  // In `folder`, made if missing; an existing one stays. Its path. Errors of files.
  std::string WriteTemplate(std::string_view name, const std::string& folder);

  // Begins to compare the address index with the table, and to repair it where that is wanted; NextIndex does a part of
  // it, and is true while there is more. Without the duplicate check there is nothing to do.
  void StartIndex(std::string_view name, bool repairs);
  bool NextIndex() { return index_ != nullptr && index_->Next(); }
  std::int64_t IndexTotal() const { return index_ == nullptr ? 0 : index_->total(); }
  std::int64_t IndexDone() const { return index_ == nullptr ? 0 : index_->done(); }
  std::int64_t IndexMissing() const { return index_ == nullptr ? 0 : index_->missing(); }
  std::int64_t IndexChanged() const { return index_ == nullptr ? 0 : index_->changed(); }
  std::int64_t IndexOrphaned() const { return index_ == nullptr ? 0 : index_->orphaned(); }
  std::int64_t IndexUnfit() const { return index_ == nullptr ? 0 : index_->unfit(); }

  // Gives the roles of the database their rights, where it has them, and tells what is left to do.
  void TellGrants(std::vector<TargetRemark>& remarks);
  // Error 91 before Connection was set.
  Connection& OpenConnection() const { return RequireConnection(connection_); }

  ComponentRegistry& components_;
  std::shared_ptr<KeyMemory> keys_;
  ObjectPtr connection_;
  KeyColumns key_columns_;
  std::optional<Destination> indexed_;
  std::unique_ptr<AddressReindex> index_;  // ends before what it uses
};

}  // namespace kestrel::host
