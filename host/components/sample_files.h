// The files of a new sample host: import templates, a specification and the addresses it imports.
#pragma once

#include <string>
#include <vector>

namespace kestrel::host {

struct SampleFile {
  std::string name;
  std::string bytes;  // Windows-1252, lines end in CR LF
};

std::vector<SampleFile> SampleFiles();

}  // namespace kestrel::host
