// Answers a connection's waits, and counts them.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/waits.h"

namespace kestrel::testing {

class ScriptedWatch : public WaitWatch {
 public:
  // Handed how often it was asked, from 1.
  explicit ScriptedWatch(std::function<bool(int)> answer) : answer_(std::move(answer)) {}
  bool KeepWaiting(std::string_view reason) override {
    last_reason = reason;
    return answer_(++times);
  }

  int times = 0;
  std::string last_reason;

 private:
  std::function<bool(int)> answer_;
};

// One of a thread that keeps windows.
class WindowWatch final : public ScriptedWatch {
 public:
  using ScriptedWatch::ScriptedWatch;
  bool KeepsWindows() const override { return true; }
};

}  // namespace kestrel::testing
