// Runs a real program and keeps what it printed.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kestrel::testing {

struct ProgramResult {
  int status = -1;  // exit status; 128 + signal where a signal ended it
  std::string out;
  std::string err;
};

// `command` is the program's path followed by its arguments. `environment` is added to the test's own. With
// `interrupt_at`, SIGINT is sent once this text has come on standard error.
ProgramResult RunProgram(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {},
                         const std::string& interrupt_at = {});

// Path of a program of the build tree.
std::string BuiltProgram(const std::string& name);

}  // namespace kestrel::testing
