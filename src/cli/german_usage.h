// The command line's own words in German: labels of the help, and what is wrong with the arguments.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::cli {

void SpeakGerman(CLI::App& app);

// Checks of a value; each names the value and what is possible instead.
CLI::Validator OneOf(const std::vector<std::string>& values);
// What OneOf allows `option`; none where it is not checked so.
std::vector<std::string> PossibleValues(CLI::Option& option);
// Both included.
CLI::Validator WholeNumber(std::int64_t least, std::int64_t most);
// An empty value, of a variable that is not set, would silently mean what holds without the option.
CLI::Validator NotEmpty();
// The name of a file that is written. "-" is none, as those who are used to it mean standard output.
CLI::Validator OutputFile();
// A personnel number becomes part of a file name.
CLI::Validator WithoutSeparators();

// An option whose values are names of `values`; `chosen` keeps its value where the option is not given.
template <typename T>
CLI::Option* OneOfOption(CLI::App* command, const std::string& name, T& chosen,
                         const std::vector<std::pair<std::string, T>>& values, const std::string& description) {
  std::vector<std::string> names;
  for (const auto& [value_name, value] : values) names.push_back(value_name);
  const std::map<std::string, T> by_name(values.begin(), values.end());
  return command
      ->add_option_function<std::string>(
          name, [&chosen, by_name](const std::string& given) { chosen = by_name.at(given); }, description)
      ->check(OneOf(names));
}

}  // namespace kestrel::cli
