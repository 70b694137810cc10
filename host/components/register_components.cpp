#include "components/register_components.h"

#include <memory>

#include "components/doublet_functions.h"
#include "components/held_back_records.h"
#include "components/ledger_component.h"
#include "components/log_component.h"
#include "components/log_reader.h"
#include "components/settings_component.h"
#include "components/setup.h"
#include "components/table_importer.h"
#include "components/target_component.h"
#include "kestrel/host_components.h"
#include "platform/base/text.h"
#include "schema/default_destinations.h"

namespace kestrel::host {

namespace {

constexpr std::string_view kImporterPrefix = "KSBIMPORT.";

}  // namespace

void RegisterComponents(ComponentRegistry& registry) {
  registry.Register(kLogComponent, [] { return std::make_shared<LogComponent>(); });
  registry.Register(kSettingsComponent, [] { return std::make_shared<SettingsComponent>(); });
  const auto keys = std::make_shared<KeyMemory>();
  registry.Register(kKeyComponent, [keys] { return std::make_shared<DoubletFunctions>(keys); });
  registry.Register("kestrelhost.Setup", [&registry, keys] { return std::make_shared<Setup>(registry, keys); });
  registry.Register("kestrelhost.Targets",
                    [&registry, keys] { return std::make_shared<TargetComponent>(registry, keys); });
  registry.Register("kestrelhost.LogReader", [] { return std::make_shared<LogReader>(); });
  registry.Register("kestrelhost.RunLedger", [] { return std::make_shared<LedgerComponent>(); });
  registry.Register("kestrelhost.HeldBackRecords",
                    [&registry] { return std::make_shared<HeldBackRecords>(registry); });
  // Destinations of a user's own need only an announcement and their rows of Importziele and Importfelder; those of
  // another application's tables are known when its database is open (AnnounceTargets).
  for (const std::string& prog_id : registry.ProgIds()) {
    if (UpperCase(prog_id).starts_with(kImporterPrefix)) RegisterImporter(registry, prog_id, keys);
  }
  for (const DefaultDestination& destination : kDefaultDestinations) {
    RegisterImporter(registry, destination.prog_id, keys);
  }
}

}  // namespace kestrel::host
