// An Access file with something of everything.
#pragma once

#include <string>

#include "support/jet_builder.h"

namespace kestrel::testing {

// A table with a column of every kind, its rows stored in every way, and queries over them.
std::string AccessSample(JetBuilder::Format format);

}  // namespace kestrel::testing
