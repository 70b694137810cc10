#include "support/terminal_program.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace kestrel::testing {

TerminalResult RunOnTerminal(const std::vector<std::string>& command, unsigned short columns,
                             const std::map<std::string, std::string>& environment) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const winsize size{.ws_row = 25, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  TerminalResult result;
  EXPECT_GT(child, 0);
  if (child <= 0) return result;
  std::array<char, 4096> bytes{};
  // Reading fails once the program has gone.
  for (ssize_t got = 0; (got = ::read(terminal, bytes.data(), bytes.size())) > 0;) {
    result.screen.append(bytes.data(), static_cast<std::size_t>(got));
  }
  ::close(terminal);
  int status = 0;
  ::waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace kestrel::testing
