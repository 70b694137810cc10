// How SIGINT, SIGTERM and SIGHUP end the program in order.
//
// Outside of a run the program ends at once. A run is asked to stop, as closing its window does; a second
// signal ends the program at once. Ending at once removes what RemoveAtEnd names, as it holds copies of
// settings and passwords, and returns kStoppedByUser.
//
// Invariants
//  1. A thread of its own takes the signals; all others block them. So a person is heard while a driver or a
//     server keeps the main thread waiting, and nothing is interrupted in the middle of a call.
//  2. A signal that was ignored when the program started (nohup, a background job) stays ignored.
#pragma once

#include <atomic>
#include <csignal>
#include <mutex>
#include <string>
#include <thread>

namespace kestrel::cli {

class StopSignals {
 public:
  // Made before any other thread, so that they all inherit the mask.
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();

  // While it is held, no signal ends the program: for making a folder and naming it in one step.
  [[nodiscard]] std::unique_lock<std::mutex> Hold() { return std::unique_lock(ending_); }
  // The folder that goes with the program; "" for none. Under Hold.
  void RemoveAtEnd(const std::string& folder) { folder_ = folder; }

  // While one lives, the first signal only asks.
  class Asking {
   public:
    explicit Asking(StopSignals& signals) : signals_(signals) { signals_.asking_ = true; }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;
    ~Asking() { signals_.asking_ = false; }

   private:
    StopSignals& signals_;
  };
  // Whether a signal has asked for the end of the run, or somebody else for that of what is under way.
  bool StopRequested() const { return EndRequested() || cancelled_.load(std::memory_order_relaxed); }
  // Whether a signal has.
  bool EndRequested() const { return stop_requested_.load(std::memory_order_relaxed); }
  // Ends what is under way, in order, and not the program; by any thread.
  void Cancel() { cancelled_ = true; }
  // Before something else is begun.
  void ForgetCancelled() { cancelled_ = false; }

 private:
  void Listen();
  [[noreturn]] void EndProgram();

  sigset_t signals_{};
  sigset_t old_mask_{};
  std::mutex ending_;
  std::string folder_;
  std::atomic<bool> asking_ = false;
  std::atomic<bool> stop_requested_ = false;
  std::atomic<bool> cancelled_ = false;
  std::atomic<bool> done_ = false;
  std::thread listener_;
};

}  // namespace kestrel::cli
