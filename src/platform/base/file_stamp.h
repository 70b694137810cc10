// How far a file's time stamps can be trusted to tell of a change.
#pragma once

#include <cstdint>

#include "kestrel/file_identity.h"

namespace kestrel {

// The clock that file systems stamp files with, in nanoseconds since 1970.
std::int64_t StampClock();

// Whether every change made from `now` on will show in the identity. It need not while the time stamps are so
// young that a change could carry the same ones. `now` is StampClock() before the identity was asked for.
bool ShowsEveryChange(const FileIdentity& identity, std::int64_t now);

}  // namespace kestrel
