// The command line's own words in German: labels of the help, and what is wrong with the arguments.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kestrel::cli {

void SpeakGerman(CLI::App& app);

// Checks of a value; each names the value and what is possible instead.
CLI::Validator OneOf(const std::vector<std::string>& values);
// What OneOf allows `option`; none where it is not checked so.
std::vector<std::string> PossibleValues(CLI::Option& option);
CLI::Validator Count();
// From 1 on, as far as records are counted.
CLI::Validator PositiveCount();
// An empty value, of a variable that is not set, would silently mean what holds without the option.
CLI::Validator NotEmpty();
// A personnel number becomes part of a file name.
CLI::Validator WithoutSeparators();

}  // namespace kestrel::cli
