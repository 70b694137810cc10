// The output of another program, for tests that compare with what others read.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kestrel::testing {

// What the program prints to standard output, UTF-8. None where it is missing or ends with an error. The
// arguments reach it as they stand.
std::optional<std::string> CommandOutput(const std::vector<std::string>& arguments);

// A Python interpreter that has the module, the system's own first; "" where there is none.
std::string PythonWith(const std::string& module);

}  // namespace kestrel::testing
