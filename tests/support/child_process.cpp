#include "support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace kestrel::testing {

namespace {

// A test server removes its databases at its end, which may be 200,000 files.
constexpr int kPatienceSeconds = 120;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = ends[0];
    write = ends[1];
  }
  int read = -1;
  int write = -1;
};

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
  const Pipe to_child, from_child;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, to_child.read, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, from_child.write, STDOUT_FILENO);
  std::vector<char*> list;
  for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
  list.push_back(nullptr);
  const int result = posix_spawnp(&pid_, list[0], &actions, nullptr, list.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(to_child.read);
  close(from_child.write);
  input_ = to_child.write;
  output_ = from_child.read;
  if (result != 0) {
    close(input_);
    close(output_);
    throw std::runtime_error("cannot start " + arguments[0]);
  }
}

ChildProcess::~ChildProcess() {
  Resume();
  close(input_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kPatienceSeconds);
  while (waitpid(pid_, nullptr, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  close(output_);
}

void ChildProcess::Pause() { kill(pid_, SIGSTOP); }
void ChildProcess::Resume() { kill(pid_, SIGCONT); }

std::string ChildProcess::ReadLine(int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::string line;
  while (true) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd wait{output_, POLLIN, 0};
    if (left.count() <= 0 || poll(&wait, 1, static_cast<int>(left.count())) <= 0) return {};
    char c = 0;
    if (read(output_, &c, 1) != 1) return {};
    if (c == '\n') return line;
    line.push_back(c);
  }
}

bool CanRun(const std::string& program) {
  if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
  const char* path = std::getenv("PATH");
  std::string folders = path == nullptr ? "" : path;
  folders += ':';
  for (std::size_t start = 0, end = 0; (end = folders.find(':', start)) != std::string::npos; start = end + 1) {
    if (::access((folders.substr(start, end - start) + "/" + program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace kestrel::testing
