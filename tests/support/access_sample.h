// An Access file with something of everything.
#pragma once

#include <string>

#include "support/jet_builder.h"

namespace kestrel::testing {

// A table with a column of every kind, its rows stored in every way, and queries over them.
std::string AccessSample(JetBuilder::Format format);
// The same as an .accdb, encrypted with the empty password.
std::string EncryptedAccessSample(OfficeScheme scheme);

}  // namespace kestrel::testing
