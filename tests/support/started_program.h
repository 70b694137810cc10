// A real program that is still running: what it prints is read as it comes, and signals are sent to it.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace kestrel::testing {

class StartedProgram {
 public:
  enum class Stream { kOut, kErr };

  // As RunProgram. The stream named is a pipe, which the program fills until it is read; the other goes nowhere.
  StartedProgram(const std::vector<std::string>& command, const std::map<std::string, std::string>& environment,
                 Stream piped);
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;
  // Kills what still runs.
  ~StartedProgram();

  // Waits until the program has printed `text`; false where it ended without.
  bool WaitFor(const std::string& text);
  // Fills the pipe, so that the program waits at the next thing it prints, until it is read again.
  void FillPipe() const;
  void Send(int signal) const;
  // The rest of what it prints.
  std::string ReadToEnd();
  // Waits for the end; as ProgramResult::status.
  int Wait();

 private:
  bool ReadMore();

  pid_t child_ = -1;
  int pipe_ = -1;
  std::string read_;
};

}  // namespace kestrel::testing
