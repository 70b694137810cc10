#include "component/import_class.h"

#include <algorithm>
#include <string>
#include <vector>

#include "kestrel/component_registry.h"
#include "kestrel/user_interface.h"
#include "platform/base/text.h"

namespace kestrel {
namespace {

void TellCreationFailed(Session& session, const RuntimeError& error) {
  if (error.Is(ErrorNumber::kCannotCreateObject)) {
    session.platform.ui.MessageBox("Der angegebene Import Provider ''" + session.ImportClassProgID +
                                       "'' kann nicht geladen werden. Fehlercode 429.",
                                   "", Icon::kInformation, Buttons::kOk);
  } else {
    session.platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
  }
}

// One that nobody has may be a table's that was a destination once, or is one of another database.
RuntimeError WithWayOut(const Session& session, const RuntimeError& error) {
  const std::vector<std::string> known = session.platform.components.ProgIds();
  const bool is_known = std::ranges::any_of(
      known, [&](const std::string& id) { return EqualsIgnoringCase(id, session.ImportClassProgID); });
  if (!error.Is(ErrorNumber::kCannotCreateObject) || is_known) return error;
  return {error.Number(),
          error.Description() +
              ". Ein Importziel aus einer eigenen Tabelle wurde vielleicht entfernt, oder es gehört zu einer "
              "anderen "
              "Datenbank als der, die --host nennt: 'kestrel-import target list' zeigt die vorhandenen, "
              "'kestrel-import target add' legt eines an."};
}

}  // namespace

bool CreateImportClass(Session& session, std::optional<RuntimeError>* failure) {
  session.ImportClass.reset();
  return Trap(
      [&] {
        session.ImportClass = session.platform.components.CreateObject(session.ImportClassProgID);
        SetProperty(session.ImportClass, "Connection", session.HostConnection);
        LetProperty(session.ImportClass, "PersonalNr", session.PersonalNr);
        LetProperty(session.ImportClass, "Application", session.AppMode);
        LetProperty(session.ImportClass, "SpecificationFile", session.SpecFile);
      },
      [&](const RuntimeError& error) {
        if (failure != nullptr) *failure = WithWayOut(session, error);
        TellCreationFailed(session, error);
      });
}

bool ImportClassHasConfig(Session& session) {
  const Value answer = GetProperty(session.ImportClass, "HasConfig");
  return !answer.IsBool() || answer.ToBool();
}

void ShowImportClassConfig(Session& session) {
  LetProperty(session.ImportClass, "SpecificationFile", session.SpecFile);
  CallMethod(session.ImportClass, "ShowConfig");
}

ImportClassError ReadImportClassError(Session& session) {
  ImportClassError error;
  error.code = GetProperty(session.ImportClass, "ErrorCode").ToInteger();
  if (error.code == 0) return error;
  // Read once more for the report; an object that forgets its code when asked is still reported with it.
  const std::int64_t reported = GetProperty(session.ImportClass, "ErrorCode").ToInteger();
  if (reported != 0) error.code = reported;
  error.description = GetProperty(session.ImportClass, "ErrorDescription").ToText();
  return error;
}

}  // namespace kestrel
