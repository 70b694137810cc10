#include "support/started_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace kestrel::testing {

StartedProgram::StartedProgram(const std::vector<std::string>& command,
                               const std::map<std::string, std::string>& environment, Stream piped) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  child_ = ::fork();
  if (child_ == 0) {
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(piped == Stream::kOut ? ends[1] : nowhere, STDOUT_FILENO);
    ::dup2(piped == Stream::kErr ? ends[1] : nowhere, STDERR_FILENO);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  pipe_ = ends[0];
}

StartedProgram::~StartedProgram() {
  if (child_ > 0) {
    ::kill(child_, SIGKILL);
    Wait();
  }
  ::close(pipe_);
}

bool StartedProgram::ReadMore() {
  std::array<char, 4096> bytes{};
  const ssize_t got = ::read(pipe_, bytes.data(), bytes.size());
  if (got <= 0) return false;
  read_.append(bytes.data(), static_cast<std::size_t>(got));
  return true;
}

bool StartedProgram::WaitFor(const std::string& text) {
  while (read_.find(text) == std::string::npos) {
    if (!ReadMore()) return false;
  }
  return true;
}

void StartedProgram::FillPipe() const {
  const int end = ::open(("/proc/self/fd/" + std::to_string(pipe_)).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_GE(end, 0);
  while (::write(end, "\n", 1) == 1) {
  }
  ::close(end);
}

void StartedProgram::Send(int signal) const { ::kill(child_, signal); }

std::string StartedProgram::ReadToEnd() {
  while (ReadMore()) {
  }
  return read_;
}

int StartedProgram::Wait() {
  int status = 0;
  ::waitpid(child_, &status, 0);
  child_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace kestrel::testing
