// Files that are read whole: their content as it stood at one moment, and which file that was.
#pragma once

#include <string>

#include "kestrel/file_identity.h"

namespace kestrel {

struct SteadyFile {
  std::string content;
  FileIdentity identity;
};

// Reads a file whole, and again where it changed meanwhile. Raises what reading raises, with the path; 75 for
// what is no file with an end of its own (a pipe, a device) and for a file that does not come to rest.
SteadyFile ReadSteadyFile(const std::string& path);

}  // namespace kestrel
