#include "cli/stop_signals.h"

#include <pthread.h>
#include <unistd.h>

#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "cli/program.h"

namespace kestrel::cli {

StopSignals::StopSignals() {
  sigemptyset(&signals_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals_, signal);
  }
  // The listener's own wake-up.
  sigaddset(&signals_, SIGUSR1);
  ::pthread_sigmask(SIG_BLOCK, &signals_, &old_mask_);
  listener_ = std::thread([this] { Listen(); });
}

StopSignals::~StopSignals() {
  done_ = true;
  ::pthread_kill(listener_.native_handle(), SIGUSR1);
  listener_.join();
  ::pthread_sigmask(SIG_SETMASK, &old_mask_, nullptr);
}

void StopSignals::Listen() {
  for (;;) {
    int signal = 0;
    if (::sigwait(&signals_, &signal) != 0) continue;
    if (done_) return;
    if (signal == SIGUSR1) continue;
    if (!asking_ || stop_requested_.exchange(true)) EndProgram();
  }
}

void StopSignals::EndProgram() {
  const auto hold = Hold();
  std::error_code error;
  // The main thread may be writing into the folder.
  constexpr int kAttempts = 10;
  for (int attempt = 0; attempt < kAttempts && !folder_.empty(); ++attempt) {
    std::filesystem::remove_all(folder_, error);
    if (!error) break;
  }
  // Destructors would wait for what the main thread is in the middle of.
  ::_exit(kStoppedByUser);
}

}  // namespace kestrel::cli
