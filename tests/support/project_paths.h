#pragma once

#include <string>
#include <string_view>

namespace kestrel::testing {

// Where this build's sources and programs lie, as absolute paths; `path` is relative to the checkout or to the
// build folder.
std::string InSourceTree(std::string_view path = {});
std::string InBuildTree(std::string_view path);

}  // namespace kestrel::testing
