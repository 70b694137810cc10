// What Access keeps about the columns of a table beside their definition, in the column LvProp of the catalog.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "formats/access/jet_file.h"

namespace kestrel::access {

// The type codes of what calculated columns give, by column. `properties` is the content of LvProp. Raises 3000
// for a damaged one.
std::map<std::string, std::uint8_t> ReadResultTypes(const JetFile& file, std::string_view properties);

}  // namespace kestrel::access
