// The steady clock as the kernel's last tick left it, some milliseconds ago: for questions asked many times a
// record, where reading the clock itself would cost more than the answer is worth.
#pragma once

#include <chrono>

namespace kestrel {

std::chrono::steady_clock::time_point CoarseNow();

}  // namespace kestrel
