// Which version this is. A program that was built with one version runs with every later one of the same first
// number.
#pragma once

#include "kestrel/export.h"

// Of these headers; the build reads the project's version from here.
#define KESTREL_VERSION_MAJOR 2
#define KESTREL_VERSION_MINOR 0
#define KESTREL_VERSION_PATCH 0
// As one number, to compare: 20003 is 2.0.3.
#define KESTREL_VERSION (KESTREL_VERSION_MAJOR * 10000 + KESTREL_VERSION_MINOR * 100 + KESTREL_VERSION_PATCH)

namespace kestrel {

// The version of the library that is loaded ("2.0.0"), which may be later than that of the headers. The text
// lives as long as the process. Raises nothing; any thread.
KESTREL_EXPORT const char* Version() noexcept;

}  // namespace kestrel
