// Windows that are shown while something lasts, and boxes that tell why something failed.
#pragma once

#include "screenshots/steps.h"

namespace kestrel::screenshots {

// On the result page of an import, which is taken back in the end. `database` is the host's file.
void TakeUndo(Steps& steps, const std::string& database);
// Opens the import of that specification, and leaves it on steps 1 and 2.
void TakeWaitsAndRefusals(Steps& steps, const char* specification);

}  // namespace kestrel::screenshots
