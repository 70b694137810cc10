// A program that a test starts and that ends with it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace kestrel::testing {

class ChildProcess {
 public:
  // Starts arguments[0], looked for on the PATH, with its standard input and output connected to this object.
  // Raises std::runtime_error where no process can be made.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  // Closes the program's input, waits half a minute for its end, then ends it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The next line of its output without the line end; empty when the output has ended or `seconds` are over.
  std::string ReadLine(int seconds);

  // Between the two it runs no further; a test of what happens meanwhile needs no luck.
  void Pause();
  void Resume();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
};

// Whether a program of that name is on the PATH, or the path names a program.
bool CanRun(const std::string& program);

}  // namespace kestrel::testing
