#include "check/destination_check.h"

#include <string>

#include "duplicates/duplicate_check.h"
#include "kestrel/component_registry.h"
#include "kestrel/host_components.h"
#include "log/import_log.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

const FindingPlace kDestination{"Common", "ImportClass"};

}  // namespace

void CheckHostRights(const Session& session, Findings& findings) {
  constexpr const char* kMember = "CheckDestination";
  if (session.ImportClass == nullptr || !session.ImportClass->FindMember(kMember)) return;
  const auto ask = [&] {
    const std::string answer = CallMethod(session.ImportClass, kMember).ToText();
    for (const std::string_view missing : Split(answer, '\n')) {
      if (missing.empty()) continue;
      findings.Error(kDestination, std::string(missing),
                     "Prüfen Sie die Datenbank der Hauptanwendung und die Rechte des Benutzers.");
    }
  };
  Trap(ask, [&](const RuntimeError& error) {
    findings.Warn(kDestination, "Das Importziel konnte nicht geprüft werden: " + error.Description());
  });
}

void CheckComponents(const Session& session, const ProfileImage& specification, Findings& findings) {
  const auto can_be_loaded = [&](const char* prog_id, const auto& tell) {
    Trap([&] { session.platform.components.CreateObject(prog_id); },
         [&](const RuntimeError& error) { tell(error.Description()); });
  };
  can_be_loaded(kLogComponent, [&](const std::string& why) {
    findings.Warn(kDestination, "Das Protokoll '" + std::string(kLogComponent) +
                                    "' kann nicht geladen werden, Fehler des Imports stünden nirgends. " + why);
  });
  if (GetIniString(specification, kDuplicateSection, "DublettenPruefen", "0") != "1") return;
  for (const char* prog_id : {kSettingsComponent, kKeyComponent}) {
    can_be_loaded(prog_id, [&](const std::string& why) {
      findings.Error({kDuplicateSection, "DublettenPruefen"},
                     "Die Dublettenprüfung ist eingeschaltet, ihre Komponente '" + std::string(prog_id) +
                         "' kann aber nicht geladen werden. " + why);
    });
  }
}

}  // namespace kestrel
