// trial_open_connection SPECIFICATION FOLDER: an import whose host keeps its connection open afterwards, as a
// window does. Tells the result as `kestrel-import run --format json` does, then waits for the end of its
// input.
#include <iostream>
#include <limits>

#include "cli/program.h"
#include "platform/base/runtime_error.h"

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "usage: trial_open_connection SPECIFICATION FOLDER\n";
    return 2;
  }
  kestrel::cli::CommonOptions common;
  common.folder = arguments[2];
  common.format = kestrel::cli::OutputFormat::kJson;
  kestrel::cli::RunOptions options;
  options.spec = arguments[1];
  int status = kestrel::cli::kNotUsable;
  try {
    kestrel::cli::Workspace workspace(common, std::cout, std::cerr);
    status = RunCommand(workspace, options);
    std::cout << std::flush;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
  }
  return status;
}
