#include "component/import_man.h"

#include <cstdlib>
#include <utility>

#include "platform/base/file.h"

namespace kestrel {
namespace {

// An empty variable counts as none.
std::string EnvironmentText(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

void ImportMan::Bind(Members& members) {
  members.Get("Connection", &ImportMan::Connection);
  members.Set("Connection", &ImportMan::SetConnection);
  members.Let("Application", &ImportMan::SetApplication);
  members.Let("PersonalNr", &ImportMan::SetPersonalNr);
  members.Let("ImportFileName", &ImportMan::SetImportFileName);
  members.Method("ShowDialog", &ImportMan::ShowDialog);
}

ImportMan::~ImportMan() {
  if (pages_ != nullptr) pages_->EndSession(session_);
}

void ImportMan::SetConnection(ObjectPtr connection) {
  session_.HostConnection = connection;
  connection_ = std::move(connection);
}

void ImportMan::ShowDialog() {
  if (pages_ != nullptr) pages_->ShowStep1(session_);
}

std::string ComponentFolder() {
  constexpr const char* kFolderName = "kestrel-import";
  if (std::string own = EnvironmentText("KESTREL_HOME"); !own.empty()) return own;
  // A relative one is void, as the base directory convention has it.
  if (const std::string data = EnvironmentText("XDG_DATA_HOME"); data.starts_with('/')) {
    return JoinPath(data, kFolderName);
  }
  return JoinPath(JoinPath(EnvironmentText("HOME"), ".local/share"), kFolderName);
}

std::string DefaultSpecFolder() { return JoinPath(ComponentFolder(), "Import"); }

}  // namespace kestrel
