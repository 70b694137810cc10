// What every callback of a program in C has in common.
#pragma once

#include <cstdint>

#include "abi/library.h"

namespace kestrel::abi {

// Raises what a callback that did not return KESTREL_OK failed with: the last error of the library where one
// was told since there were `failures_before` of them, else 440.
[[noreturn]] inline void RaiseCallbackFailure(const Library& library, std::int32_t status,
                                              std::uint64_t failures_before) {
  if (library.failures() != failures_before) library.RaiseLastError();
  throw RuntimeError(ErrorNumber::kAutomation, std::string(DescriptionOf(ErrorNumber::kAutomation)) +
                                                   ": Rückruf mit Status " + std::to_string(status));
}

}  // namespace kestrel::abi
