// Whether a JSON value is what a schema describes: the part of JSON Schema that docs/json uses.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kestrel::testing {

// Where and why it is not; empty where it is. A keyword that is not known here is told, too, so that none is passed
// over. `path` names the value in what is told.
std::string SchemaFault(const nlohmann::json& schema, const nlohmann::json& value,
                        const std::string& path = "$");

}  // namespace kestrel::testing
