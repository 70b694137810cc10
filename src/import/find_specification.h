// Finds the import specification that a person or a host means.
#pragma once

#include <string>

#include "platform/profile/profile.h"

namespace kestrel {

// The specification file meant by `name`: a path; a file of the folder with or without ".IMP" or ".IMT"; or a
// Description. Raises ImportRefused, with what there is, where nothing fits, and what listing the folder raises.
std::string FindSpecification(const std::string& folder, const std::string& name);

}  // namespace kestrel
