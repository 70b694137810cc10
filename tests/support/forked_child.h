// A copy of the test's process that does some work and is killed at the end of its scope. Databases must be
// opened by whoever uses them: no connection may be open when it starts.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel::testing {

class ForkedChild {
 public:
  template <class Work>
  explicit ForkedChild(Work work) : process_(fork()) {
    if (process_ == 0) {
      work();
      _exit(0);
    }
  }
  ForkedChild(const ForkedChild&) = delete;
  ForkedChild& operator=(const ForkedChild&) = delete;
  void Kill() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = 0;
  }
  ~ForkedChild() { Kill(); }

 private:
  pid_t process_;
};

}  // namespace kestrel::testing
