// trial_save_schema SPECIFICATION: opens a specification as the wizard does, changes settings and an
// assignment, saves it in place, and ends the session. Says on standard output how the save ended: "saved", or
// "error" and the path of the working copy, which then stays, as the page would stay open. Status 4 for an error.
#include <iostream>

#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/console_user_interface.h"
#include "kestrel/runtime_error.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "spec/save_schema.h"
#include "spec/specification.h"

namespace {

void Open(kestrel::Session& session, kestrel::WorkingCopyLock& lock, const std::string& specification) {
  session.SpecFolder = kestrel::ParentFolder(specification);
  session.SpecFile = specification;
  session.PersonalNr = "4711";
  kestrel::ReadCommonSection(session);
  kestrel::CreateWorkingCopy(session, lock);
}

void Edit(kestrel::Session& session) {
  session.Delimiter = "|";
  session.SavePath = "sicherung";
  session.AssignmentList = kestrel::CreateAssignmentList();
  for (const char* field : {"Bez1", "Strasse", "Ort"}) {
    session.AssignmentList->AddNew();
    session.AssignmentList->SetText(session.AssignmentList->RequireColumn("SourceName"), field);
    session.AssignmentList->SetText(session.AssignmentList->RequireColumn("DestinationName"), "neu");
    session.AssignmentList->SetValue(session.AssignmentList->RequireColumn("Option"), 3);
  }
  session.AssignmentList->MoveFirst();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: trial_save_schema SPECIFICATION\n";
    return 2;
  }
  kestrel::ConsoleUserInterface ui(std::cerr);
  kestrel::ComponentRegistry components;
  kestrel::SystemClock clock;
  kestrel::Session session({ui, components, clock});
  kestrel::WorkingCopyLock lock;
  int status = 4;
  kestrel::Trap(
      [&] {
        Open(session, lock, arguments[1]);
        Edit(session);
        kestrel::SaveSchema(session, lock, true);
        std::cout << "saved" << std::endl;
        status = 0;
        kestrel::DeleteWorkingCopy(session);
      },
      [&](const kestrel::RuntimeError& error) {
        if (status != 0) std::cout << "error " << session.SpecFile << std::endl;
        std::cerr << error.Description() << std::endl;
      });
  return status;
}
