// Kinds of sources that a program in C brings.
#pragma once

#include <map>
#include <string>

#include "kestrel/kestrel.h"
#include "sources/source_kind.h"

namespace kestrel::abi {

class Library;

// The kinds of a library's jobs: those of the component, and its program's.
struct CSourceKinds final : SourceKinds {
  // The library outlives it.
  explicit CSourceKinds(Library& of_library) : library(of_library) {}

  Library& library;
  std::map<std::string, kestrel_source> sources;
};

}  // namespace kestrel::abi
