#include "support/program.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "support/eventually.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

ProgramResult RunProgram(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment,
                         const std::string& interrupt_at) {
  const TempFolder folder;
  const std::string out = folder.Write("out", "");
  const std::string err = folder.Write("err", "");
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  const pid_t child = ::fork();
  if (child == 0) {
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    if (::freopen(out.c_str(), "w", stdout) == nullptr || ::freopen(err.c_str(), "w", stderr) == nullptr)
      ::_exit(126);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  ProgramResult result;
  EXPECT_GT(child, 0);
  if (child <= 0) return result;
  int status = 0;
  bool ended = false;
  if (!interrupt_at.empty()) {
    Eventually([&] {
      ended = ::waitpid(child, &status, WNOHANG) == child;
      return ended || ReadBytes(err).find(interrupt_at) != std::string::npos;
    });
    if (!ended) ::kill(child, SIGINT);
  }
  if (!ended) ::waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadBytes(out);
  result.err = ReadBytes(err);
  return result;
}

std::string BuiltProgram(const std::string& name) { return InBuildTree("bin/" + name); }

}  // namespace kestrel::testing
