// The commands and options as JSON, for the programs that write the manual pages, the completions of shells and the
// reference from them; so none of these can tell of an option that is not there.
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>

namespace kestrel::cli {

// The argument that asks for it instead of a command. Help does not show it.
inline constexpr const char* kDescribeCommands = "--describe-commands";

// Writes `app` as one object: name, description, footer; options, each with its names (none where it is told by its
// place), what it takes, the values that are possible, and what excludes it; commands, each an object of the same kind.
// What help does not show is left out.
void WriteCommandTree(CLI::App& app, std::ostream& out);

}  // namespace kestrel::cli
