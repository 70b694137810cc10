#include "kestrel/import_man.h"

#include <utility>

#include "platform/base/component_folder.h"
#include "platform/base/file.h"

namespace kestrel {
void ImportMan::Bind(Members& members) {
  members.Get("Connection", &ImportMan::Connection);
  members.Set("Connection", &ImportMan::SetConnection);
  members.Let("Application", &ImportMan::SetApplication);
  members.Let("PersonalNr", &ImportMan::SetPersonalNr);
  members.Let("ImportFileName", &ImportMan::SetImportFileName);
  members.Method("ShowDialog", &ImportMan::ShowDialog);
}

void ImportMan::Register(Platform platform, WizardPages* pages) {
  platform.components.Register(kProgId,
                               [platform, pages] { return std::make_shared<ImportMan>(platform, pages); });
}

void ImportMan::SetConnection(ObjectPtr connection) {
  session_->HostConnection = connection;
  connection_ = std::move(connection);
}

void ImportMan::ShowDialog() {
  if (pages_ != nullptr) pages_->ShowStep1(session_);
}

std::string DefaultSpecFolder() { return JoinPath(ComponentFolder(), "Import"); }

}  // namespace kestrel
