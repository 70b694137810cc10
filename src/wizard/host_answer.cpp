#include "wizard/host_answer.h"

#include <memory>

#include "component/session.h"
#include "kestrel/connection.h"
#include "kestrel/user_interface.h"

namespace kestrel {

bool HostAnswers(const Session& session) {
  const auto connection = std::dynamic_pointer_cast<Connection>(session.HostConnection);
  if (connection == nullptr) return true;
  return Trap([&] { connection->OpenRecordset("SELECT 1"); },
              [&](const RuntimeError& error) {
                session.platform.ui.MessageBox(
                    "Die Datenbank der Anwendung ist nicht zu erreichen. Ihre Angaben "
                    "bleiben erhalten; versuchen Sie es noch einmal, sobald sie wieder "
                    "antwortet.\n\n" +
                        error.Description(),
                    "", Icon::kInformation, Buttons::kOk);
              });
}

}  // namespace kestrel
