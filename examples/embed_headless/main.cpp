// embed_headless SPECIFICATION.IMP SOURCE.txt: an import in a program without a screen, into an import class of
// its own. The specification names it: ImportClass=example.addressbook
#include <cstdio>
#include <iostream>

#include "address_book.h"
#include "component/import_class.h"
#include "import/import_run.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "platform/dialogs/console_user_interface.h"
#include "sources/source_page.h"
#include "sources/source_reader.h"
#include "spec/specification.h"

namespace {

// Nobody watches this run; what stands in no log is told all the same.
class Unseen final : public kestrel::RunView {
 public:
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void Tell(std::string_view text) override { std::cerr << text << '\n'; }
  void CloseWindow() override {}
};

int Import(const std::string& specification, const std::string& source) {
  auto addresses = std::make_shared<AddressBook>();
  kestrel::ComponentRegistry components;
  components.Register("example.addressbook", [&] { return addresses; });
  kestrel::ConsoleUserInterface ui(std::cerr);
  kestrel::SystemClock clock;
  kestrel::Session session({ui, components, clock});

  // Load the specification; everything then works on a copy of it, which the run deletes at its end.
  session.SpecFolder = kestrel::ParentFolder(specification);
  session.SpecFile = specification;
  kestrel::ReadCommonSection(session);
  kestrel::CreateWorkingCopy(session);
  // The file at hand takes the place of the one that the specification names.
  session.ImportFileName = source;
  kestrel::ApplyImportFileName(session);
  // The destination, and which of its fields comes from which column.
  if (!kestrel::CreateImportClass(session)) return 1;
  session.SourceFieldNames = kestrel::SourceColumnNames(session);
  std::string failure;
  kestrel::BuildAssignmentList(session, &failure);
  if (!failure.empty()) {
    kestrel::DeleteWorkingCopy(session);
    throw kestrel::RuntimeError(kestrel::ErrorNumber::kAutomation, failure);
  }

  Unseen view;
  kestrel::ImportRun run(session, view);
  run.Activate();
  for (const std::string& line : addresses->lines()) std::printf("%s\n", line.c_str());
  return run.result().errors == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "usage: embed_headless SPECIFICATION.IMP SOURCE.txt\n");
    return 2;
  }
  int status = 1;
  kestrel::Trap(
      [&] { status = Import(arguments[1], arguments[2]); },
      [](const kestrel::RuntimeError& error) { std::fprintf(stderr, "embed_headless: %s\n", error.what()); });
  return status;
}
