#include "support/command_output.h"

#include <array>
#include <cstdio>
#include <memory>

namespace kestrel::testing {

namespace {

std::string Quoted(const std::string& argument) {
  std::string quoted = "'";
  for (const char c : argument) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

}  // namespace

std::optional<std::string> CommandOutput(const std::vector<std::string>& arguments) {
  std::string command;
  for (const std::string& argument : arguments) command += Quoted(argument) + " ";
  FILE* pipe = popen((command + "2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return std::nullopt;
  std::string output;
  std::array<char, 65536> chunk;
  for (std::size_t got = 0; (got = fread(chunk.data(), 1, chunk.size(), pipe)) > 0;)
    output.append(chunk.data(), got);
  return pclose(pipe) == 0 ? std::optional(output) : std::nullopt;
}

std::string PythonWith(const std::string& module) {
  for (const char* python : {"/usr/bin/python3", "python3"}) {
    if (CommandOutput({python, "-c", "import " + module})) return python;
  }
  return {};
}

}  // namespace kestrel::testing
