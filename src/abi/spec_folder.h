// Where import specifications lie for a program in C.
#pragma once

#include <string>

#include "abi/library.h"
#include "kestrel/import_man.h"

namespace kestrel::abi {

// The folder that was given; empty: "Import" in the folder of the option "home", else in the component's own.
std::string SpecFolder(const Library& library, const kestrel_text& folder);

}  // namespace kestrel::abi
