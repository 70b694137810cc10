// trial_open_connection SPECIFICATION DATABASE: an import as the host's window makes it, which keeps its
// connection open afterwards. Tells the end in one line of standard output, as `kestrel-import run --format
// json` does, then waits for the end of its input.
#include <iostream>
#include <limits>

#include "component/import_class.h"
#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/console_user_interface.h"
#include "kestrel/open_connection.h"
#include "kestrel/runtime_error.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "spec/working_copy.h"

namespace {

class Unseen final : public kestrel::RunView {
 public:
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void CloseWindow() override {}
};

void Import(kestrel::Session& session, const std::string& specification) {
  session.SpecFolder = kestrel::ParentFolder(specification);
  session.SpecFile = specification;
  session.AppMode = 2;
  kestrel::ReadCommonSection(session);
  kestrel::WorkingCopyLock lock;
  kestrel::CreateWorkingCopy(session, lock);
  kestrel::ActiveImport import(session);
  if (!kestrel::CreateImportClass(session)) return;
  session.SourceFieldNames = kestrel::SourceColumnNames(session);
  kestrel::BuildAssignmentList(session, import.logs());
  Unseen view;
  kestrel::ImportRun run(import, view);
  run.Activate();
  const kestrel::RunResult& result = run.result();
  std::cout << "{\"records\":" << result.records << ",\"errors\":" << result.errors << ",\"message\":\""
            << result.message << "\"}" << std::endl;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "usage: trial_open_connection SPECIFICATION DATABASE\n";
    return 2;
  }
  kestrel::ConsoleUserInterface ui(std::cerr);
  kestrel::ComponentRegistry components;
  components.AddDefaultFolders();
  kestrel::SystemClock clock;
  kestrel::Session session({ui, components, clock});
  int status = 4;
  kestrel::Trap(
      [&] {
        session.HostConnection = kestrel::OpenConnection(arguments[2]);
        Import(session, arguments[1]);
        std::cin.ignore(std::numeric_limits<std::streamsize>::max());
        status = 0;
      },
      [](const kestrel::RuntimeError& error) { std::cerr << error.Description() << std::endl; });
  return status;
}
