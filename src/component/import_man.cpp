#include "kestrel/import_man.h"

#include <utility>

#include "component/session.h"
#include "platform/base/component_folder.h"
#include "platform/base/file.h"

namespace kestrel {

ImportMan::ImportMan(Platform platform, WizardPages* pages)
    : session_(std::make_shared<Session>(platform)), pages_(pages) {}

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

void ImportMan::SetApplication(std::int16_t app_mode) { session_->AppMode = app_mode; }
void ImportMan::SetPersonalNr(const std::string& personal_nr) { session_->PersonalNr = personal_nr; }
void ImportMan::SetImportFileName(const std::string& filename) { session_->ImportFileName = filename; }

void ImportMan::ShowDialog() {
  if (pages_ != nullptr) pages_->ShowStep1(session_);
}

std::string DefaultSpecFolder() { return JoinPath(ComponentFolder(), "Import"); }

}  // namespace kestrel
