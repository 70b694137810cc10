#include <unistd.h>

#include <csignal>
#include <iostream>

#include "cli/program.h"

int main(int count, char** arguments) {
  kestrel::cli::OccupyStandardStreams();
  // A reader that has gone and a file that must not grow are errors of the write, told like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  kestrel::cli::DescriptorOutput out(STDOUT_FILENO);
  return kestrel::cli::Main({arguments + 1, arguments + count}, out, std::cerr);
}
