// Waiting for what another thread or program does.
#pragma once

#include <chrono>
#include <thread>

namespace kestrel::testing {

// Asks until the condition holds. False only where it does not within a minute: then it never will, however
// slow the machine is.
template <class Condition>
bool Eventually(Condition&& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace kestrel::testing
