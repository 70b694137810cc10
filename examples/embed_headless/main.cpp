// embed_headless SPECIFICATION.IMP SOURCE.txt: an import in a program without a screen, into an import class of
// its own. The specification names it: ImportClass=example.addressbook
#include <cstdio>
#include <iostream>

#include <kestrel/import_job.h>
#include "address_book.h"

namespace {

int Import(const std::string& specification, const std::string& source) {
  auto addresses = std::make_shared<AddressBook>();
  kestrel::ComponentRegistry components;
  components.Register("example.addressbook", [&] { return addresses; });
  kestrel::ConsoleUserInterface ui(std::cerr);
  kestrel::SystemClock clock;

  kestrel::ImportJob job({ui, components, clock});
  // The file at hand takes the place of the one that the specification names.
  job.Open({.specification = specification, .source_file = source, .tell = [](std::string_view text) {
              std::cerr << text << '\n';
            }});
  // Refused, with everything that is wrong, where the specification does not fit source or destination.
  const kestrel::RunResult& result = job.Run();
  for (const std::string& line : addresses->lines()) std::printf("%s\n", line.c_str());
  return result.errors == 0 ? 0 : 1;
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
