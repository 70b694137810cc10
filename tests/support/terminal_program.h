// Runs a real program on a terminal of its own.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kestrel::testing {

struct TerminalResult {
  int status = -1;     // as ProgramResult::status
  std::string screen;  // all that was written to the terminal, with its control characters
};

// As RunProgram; standard output and standard error are one terminal of that width.
TerminalResult RunOnTerminal(const std::vector<std::string>& command, unsigned short columns,
                             const std::map<std::string, std::string>& environment = {});

}  // namespace kestrel::testing
